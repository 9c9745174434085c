#include "kestrel/dialogs/MimeTransfer.h"

#include <gtest/gtest.h>

#include <QMimeData>

#include "kestrel/editing/DataTransfer.h"
#include "kestrel/editing/DataXferObj.h"

namespace kestrel {
namespace {

using namespace transfer_format;

QByteArray Bytes(const char* text) { return {text, static_cast<qsizetype>(std::strlen(text)) + 1}; }

TEST(MimeTransfer, EveryFormatKeepsNameAndBytes) {
    const Ref<CDataXferObj> object(new CDataXferObj);
    PutFilter(object.get(), "TMFilter.Scale.1");
    PutDialog(object.get(), "TMFilter.Scale.1");
    PutParameter(object.get(), "Text=\xE4\x80");
    const auto mime = ToMimeData(object.get());
    EXPECT_EQ(mime->formats(), (QStringList{QLatin1String(kFilter), QLatin1String(kScaleFilter), QLatin1String(kDialog),
                                            QLatin1String(kParameter), QStringLiteral("text/plain")}));
    EXPECT_EQ(mime->data(QLatin1String(kFilter)), Bytes("TMFilter.Scale.1"));
    EXPECT_EQ(mime->data(QLatin1String(kParameter)), Bytes("Text=\xE4\x80"));
    EXPECT_EQ(mime->text(), u"TMFilter.Scale.1\tText=\u00E4\u20AC");

    const Ref<IDataObject> back = FromMimeData(mime.get());
    EXPECT_EQ(GetFilter(back.get()), "TMFilter.Scale.1");
    EXPECT_EQ(GetDialog(back.get()), "TMFilter.Scale.1");
    EXPECT_EQ(GetParameter(back.get()), "Text=\xE4\x80");
    EXPECT_FALSE(IsFilterAvailable(back.get(), true, false)) << "still not fit";
    EXPECT_EQ(GetChain(back.get()), "") << "the formats count, not the plain text";
}

TEST(MimeTransfer, PlainTextSaysWhatIsDragged) {
    const struct {
        void (*put)(CDataXferObj* object);
        const char16_t* text;
    } cases[] = {
        {[](CDataXferObj* object) { PutParameter(object, "Sepia=080"); }, u"Sepia=080"},
        {[](CDataXferObj* object) { PutDialog(object, "TMFilter.Sepia.1"); }, u"TMFilter.Sepia.1\t"},
        {[](CDataXferObj* object) { PutChainText(object, "TMFilter.A.1\tx\nTMFilter.B.1\ty\n"); },
         u"TMFilter.A.1\tx\nTMFilter.B.1\ty\n"},
    };
    for (const auto& c : cases) {
        const Ref<CDataXferObj> object(new CDataXferObj);
        c.put(object.get());
        EXPECT_EQ(ToMimeData(object.get())->text(), c.text);
    }
    EXPECT_TRUE(ToMimeData(nullptr)->formats().isEmpty());
    EXPECT_TRUE(ToMimeData(Ref(new CDataXferObj).get())->formats().isEmpty());
}

TEST(MimeTransfer, PlainTextThatNamesFiltersIsTaken) {
    const struct {
        const char16_t* plain;
        const char *filter, *parameter, *chain;
    } cases[] = {
        {u"TMFilter.Sepia.1\tSepia=080", "TMFilter.Sepia.1", "Sepia=080", "TMFilter.Sepia.1\tSepia=080"},
        {u"TMFilter.Text.1\tText=\u20AC\r\n", "TMFilter.Text.1", "Text=\x80", "TMFilter.Text.1\tText=\x80\r\n"},
        {u"TMFilter.A.1\tx\nTMFilter.B.1\ty", "", "", "TMFilter.A.1\tx\nTMFilter.B.1\ty"},
        {u"TMFilter.Sepia.1\nSepia\t", "", "", ""},
        {u"a shopping list\t", "", "", ""},
        {u"", "", "", ""},
    };
    for (const auto& c : cases) {
        QMimeData mime;
        mime.setText(QString::fromUtf16(c.plain));
        const Ref<IDataObject> object = FromMimeData(&mime);
        EXPECT_EQ(GetFilter(object.get()), c.filter);
        EXPECT_EQ(GetParameter(object.get()), c.parameter);
        EXPECT_EQ(GetChain(object.get()), c.chain);
    }
}

TEST(MimeTransfer, ForeignAndHostileDataIsLeftOut) {
    QMimeData mime;
    mime.setData(QStringLiteral("application/x-other"), Bytes("TMFilter.Sepia.1"));
    mime.setData(QLatin1String(kParameter), QByteArray((1 << 20) + 1, 'x'));
    mime.setData(QLatin1String(kDialog), QByteArrayLiteral("no zero at the end"));
    mime.setData(QLatin1String(kFilter), QByteArrayLiteral("first\0second"));
    mime.setData(QLatin1String(kChain), QByteArray());
    const Ref<IDataObject> object = FromMimeData(&mime);
    EXPECT_EQ(GetParameter(object.get()), "");
    EXPECT_EQ(GetDialog(object.get()), "no zero at the end");
    EXPECT_EQ(GetFilter(object.get()), "first");
    EXPECT_EQ(GetChain(object.get()), "");
    Ref<IEnumFormatEtc> formats;
    ASSERT_EQ(object->EnumFormatEtc(DataDirection::Get, reinterpret_cast<IEnumFormatEtc**>(formats.Out())), S_OK);
    EXPECT_EQ(formats->Skip(3), S_OK);
    EXPECT_EQ(formats->Skip(1), S_FALSE) << "neither the foreign format nor the large one";
    EXPECT_EQ(GetFilter(FromMimeData(nullptr).get()), "");
}

}  // namespace
}  // namespace kestrel
