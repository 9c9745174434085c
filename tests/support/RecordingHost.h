#pragma once
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "kestrel/editing/IDialogHost.h"

namespace kestrel::test {

/// Writes down what a dialog asks and sends: "find GalleryPage; ", "GalleryPage E572 text; ".
class RecordingHost final : public IDialogHost {
public:
    enum class Mood { Answers, Silent, Fails, Throws };

    explicit RecordingHost(Mood mood = Mood::Answers) : mood_(mood) {}

    /// What was recorded since the last call.
    std::string Take() { return std::exchange(record_, {}); }
    void Write(const std::string& what) { record_ += what + "; "; }
    void SetMood(Mood mood) { mood_ = mood; }

    HRESULT FindPage(const char* name) override {
        Write(std::string("find ") + name);
        return Answer();
    }
    IHostPage* PageObject(const char* name) override {
        if (mood_ == Mood::Silent) return nullptr;
        auto& page = pages_[name];
        if (!page) page = std::make_unique<Page>(*this, name);
        return page.get();
    }
    HRESULT Localize(const char* key, std::string* text) override {
        Write(std::string("localize ") + key);
        const HRESULT answer = Answer();
        if (answer == S_OK) *text = localized;
        return answer;
    }
    HRESULT OpenContextHelp(const char* helpKey) override {
        Write(std::string("help ") + helpKey);
        return Answer();
    }

    std::string localized = "Text";

private:
    struct Page final : IHostPage {
        Page(RecordingHost& toHost, std::string itsName) : host(toHost), name(std::move(itsName)) {}
        HRESULT SendMessage(HostMessage message, const char* text, std::int32_t*) override {
            char number[16];
            std::snprintf(number, sizeof number, " %X ", static_cast<unsigned>(message));
            host.Write(name + number + text);
            return host.Answer();
        }
        HRESULT SetState(const char* state, bool on) override {
            host.Write(name + " " + state + (on ? "=1" : "=0"));
            return host.Answer();
        }
        RecordingHost& host;
        const std::string name;
    };

    HRESULT Answer() const {
        if (mood_ == Mood::Throws) throw std::runtime_error("a host's fault");
        return mood_ == Mood::Fails ? E_FAIL : S_OK;
    }

    Mood mood_;
    std::string record_;
    std::map<std::string, std::unique_ptr<Page>> pages_;
};

}  // namespace kestrel::test
