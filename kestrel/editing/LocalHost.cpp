#include "kestrel/editing/LocalHost.h"

#include <utility>

#include "kestrel/host/Strings.h"

namespace kestrel {

class LocalHost::Page final : public IHostPage {
public:
    Page(const char* name, const Receiver& receiver) : name_(name), receiver_(receiver) {}

    HRESULT SendMessage(HostMessage message, const char* text, std::int32_t*) override {
        if (receiver_) receiver_(name_, message, text);
        return S_OK;
    }
    /// The dialogs show their buttons themselves.
    HRESULT SetState(const char*, bool) override { return S_OK; }

private:
    const char* const name_;
    const Receiver& receiver_;
};

LocalHost::LocalHost(Language language, Receiver receiver) : language_(language), receiver_(std::move(receiver)) {
    for (const char* name : {host_page::kDispatcher, host_page::kGallery, host_page::kRoomChanges})
        pages_.emplace(name, std::make_unique<Page>(name, receiver_));
}

LocalHost::~LocalHost() = default;

HRESULT LocalHost::FindPage(const char* name) { return PageObject(name) ? S_OK : E_FAIL; }

IHostPage* LocalHost::PageObject(const char* name) {
    const auto found = pages_.find(std::string_view(name));
    return found == pages_.end() ? nullptr : found->second.get();
}

HRESULT LocalHost::Localize(const char* key, std::string* text) {
    auto found = BuiltInText(key, language_);
    if (!found) return E_FAIL;
    *text = std::move(*found);
    return S_OK;
}

HRESULT LocalHost::OpenContextHelp(const char* helpKey) {
    if (receiver_) receiver_(host_page::kToolBar, HostMessage::ContextHelp, helpKey);
    return receiver_ ? S_OK : E_NOTIMPL;
}

}  // namespace kestrel
