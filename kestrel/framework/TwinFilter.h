#pragma once
#include <string>
#include <string_view>

#include "kestrel/framework/ParameterTable.h"
#include "kestrel/framework/PdibFilter.h"

namespace kestrel {

/// A filter whose parameters are one record, held twice: pending, which texts write, and active, which pixels are made
/// with. `Record` has neutral defaults and `operator==`; `kTable` is its `ParameterTable`, `kAbout` its `Description`.
///
/// The active record starts unlike the pending one in every field, so that the first `Update` is a change.
template <class Record, const auto& kTable, const auto& kAbout>
class TwinFilter : public CPdibFilter {
public:
    static constexpr const Description& kDescription = kAbout;
    /// Keys, ranges and defaults for people.
    static ParameterInfo Parameters() { return table::Info(kTable); }

    TwinFilter() : TwinFilter(table::Unlike(kTable)) {}

    bool HasChanged() override { return !(pending_ == active_); }
    HRESULT CommitChanges() override {
        active_ = pending_;
        RebuildTables();
        return S_OK;
    }

    HRESULT SetParameterText(const char* text, int) override {
        if (text) ReadText(text);
        return S_OK;
    }
    HRESULT GetParameterTextForSave(char* buffer, int size) final {
        return WriteText(PendingText(), buffer, size, kTable.leastBuffer);
    }
    HRESULT GetParameterText(char* buffer, int size) final {
        return WriteText(ActiveText(), buffer, size, kTable.leastBuffer);
    }

protected:
    /// For classes whose active record starts with other values.
    explicit TwinFilter(const Record& active) : CPdibFilter(kAbout), active_(active) {}

    const Record& Pending() const { return pending_; }
    Record& Pending() { return pending_; }
    const Record& Active() const { return active_; }
    Record& Active() { return active_; }

    /// Reads a text into the pending record.
    virtual void ReadText(std::string_view text) { table::ReadAll(text, kTable, pending_); }
    /// The pending and the active record as texts.
    virtual std::string PendingText() const { return table::Write(kTable, kTable.written, pending_); }
    virtual std::string ActiveText() const { return table::Write(kTable, kTable.written, active_); }

private:
    Record pending_{};
    Record active_;
};

}  // namespace kestrel
