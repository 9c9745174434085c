#pragma once
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "kestrel/editing/IDialogHost.h"
#include "kestrel/foundation/Export.h"
#include "kestrel/framework/ScriptStrings.h"

namespace kestrel {

/// The host of a program that has no pages of its own: its texts are those that ship with the library, and what dialogs
/// tell arrives in one function. It has no history of filters, and no page for help topics, which dialogs then show
/// themselves.
class KESTREL_API LocalHost final : public IDialogHost {
public:
    /// A message with its text, and the name of the page that it was sent to. The text is valid during the call.
    using Receiver = std::function<void(const char* page, HostMessage message, const char* text)>;

    explicit LocalHost(Language language, Receiver receiver = {});
    ~LocalHost();

    void SetLanguage(Language language) { language_ = language; }

    HRESULT FindPage(const char* name) override;
    IHostPage* PageObject(const char* name) override;
    HRESULT Localize(const char* key, std::string* text) override;
    /// Arrives as a message for the page `ToolBarNotifications`, where there is a receiver.
    HRESULT OpenContextHelp(const char* helpKey) override;

private:
    class Page;

    Language language_;
    Receiver receiver_;
    std::map<std::string, std::unique_ptr<Page>, std::less<>> pages_;
};

}  // namespace kestrel
