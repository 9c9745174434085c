#include "kestrel/dialogs/MimeTransfer.h"

#include <QMimeData>
#include <algorithm>
#include <string>
#include <string_view>

#include "kestrel/editing/DataTransfer.h"
#include "kestrel/editing/DataXferObj.h"
#include "kestrel/foundation/CodePage.h"

namespace kestrel {
namespace {

constexpr char kFamily[] = "QVTarvenmoorAnim";  ///< how the names of all our formats begin
constexpr std::string_view kFilterFamily = "TMFilter.";
constexpr qsizetype kLargest = 1 << 20;  ///< bytes of one format; the longest chain text has 64000

std::string PlainText(IDataObject* data) {
    if (std::string chain = GetChain(data); !chain.empty()) return chain;
    const std::string parameter = GetParameter(data);
    std::string progId = GetFilter(data);
    if (progId.empty()) progId = GetDialog(data);
    return progId.empty() ? parameter : progId + '\t' + parameter;
}

void PutBlock(IDataObject& target, const QString& format, QByteArray bytes) {
    if (bytes.size() > kLargest) return;
    if (!bytes.contains('\0')) bytes.append('\0');
    FormatEtc form;
    form.name = format.toStdString();
    StorageMedium medium{kMediumBlock, bytes.toStdString()};
    target.SetData(&form, &medium, true);
}

/// A plain text that names filters: one line is a filter with its text, and any number are a chain.
void PutPlainText(IDataObject* target, const QString& plain) {
    if (plain.size() > kLargest) return;
    const std::string text = Windows1252FromUtf8(plain.toStdString());
    const std::string_view whole = text;
    const std::size_t line = std::min(whole.find_first_of("\r\n"), whole.size());
    const std::size_t tab = whole.find('\t');
    if (whole.substr(0, kFilterFamily.size()) != kFilterFamily || tab >= line) return;
    PutChainText(target, text.c_str());
    if (whole.find_first_not_of("\r\n", line) != std::string_view::npos) return;
    PutFilter(target, text.substr(0, tab).c_str());
    PutParameter(target, text.substr(tab + 1, line - tab - 1).c_str());
}

}  // namespace

std::unique_ptr<QMimeData> ToMimeData(IDataObject* data) {
    auto mime = std::make_unique<QMimeData>();
    Ref<IEnumFormatEtc> formats;
    if (!data || data->EnumFormatEtc(DataDirection::Get, reinterpret_cast<IEnumFormatEtc**>(formats.Out())) < 0)
        return mime;
    FormatEtc format;
    while (formats->Next(1, &format, nullptr) == S_OK) {
        StorageMedium medium;
        if (data->GetData(&format, &medium) == S_OK)
            mime->setData(QString::fromStdString(format.name), QByteArray::fromStdString(medium.block));
    }
    if (const std::string plain = PlainText(data); !plain.empty())
        mime->setText(QString::fromStdString(Utf8From1252(plain)));
    return mime;
}

Ref<IDataObject> FromMimeData(const QMimeData* mime) {
    Ref<IDataObject> data(new CDataXferObj);
    if (!mime) return data;
    bool ours = false;
    for (const QString& format : mime->formats()) {
        if (!format.startsWith(QLatin1String(kFamily))) continue;
        PutBlock(*data, format, mime->data(format));
        ours = true;
    }
    if (!ours && mime->hasText()) PutPlainText(data.get(), mime->text());
    return data;
}

}  // namespace kestrel
