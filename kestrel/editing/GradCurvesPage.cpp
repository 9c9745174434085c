#include "kestrel/editing/GradCurvesPage.h"

#include "kestrel/foundation/Counted.h"
#include "kestrel/framework/FilterBox.h"
#include "kestrel/storage/BuiltInData.h"
#include "kestrel/storage/QvResourceStorage.h"

namespace kestrel {
namespace {

constexpr const char* kPageName = "GradCurvesDialog.Page";

/// Keeps the texts of a page in place of a host's engine.
struct Keeper final : Counted<IScriptEngine, IScriptParser> {
    HRESULT AddPicture(const char*, const void*, std::size_t) override { return S_OK; }
    HRESULT ParseStrings(const char*) override { return S_OK; }
    HRESULT ParsePage(const char* text) override {
        texts.page = text;
        return S_OK;
    }
    HRESULT ParseSequence(const char* text) override {
        texts.sequence = text;
        return S_OK;
    }
    PageTexts texts;
};

PageTexts ReadPage() {
    QvResourceStorage storage(BuiltInData());
    const Ref<Keeper> keeper(new Keeper);
    FilterBox().FilterBox_Parse(static_cast<IScriptEngine*>(keeper.get()), &storage, kPageName, nullptr);
    return keeper->texts;
}

}  // namespace

const PageTexts& GradCurvesPage() {
    static const PageTexts texts = ReadPage();
    return texts;
}

}  // namespace kestrel
