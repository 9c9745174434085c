#pragma once
#include <string>
#include <string_view>

#include "kestrel/framework/PdibFilter.h"
#include "kestrel/parameters/ParameterTable.h"
#include "kestrel/parameters/ParameterText.h"

namespace kestrel {

/// A filter whose parameters are one record, held twice: pending, which texts write, and active, which pixels are made
/// with. `Record` has neutral defaults; `kTable` is its `ParameterTable`, `kAbout` its `Description`.
///
/// The active record starts unlike the pending one in every field, so that the first `Update` is a change.
template <class Record, const auto& kTable, const auto& kAbout>
class TwinFilter : public CPdibFilter {
public:
    static constexpr const Description& kDescription = kAbout;
    /// Keys, ranges and defaults for people.
    static ParameterInfo Parameters() { return table::Info(kTable); }

    TwinFilter() : TwinFilter(table::Unlike(kTable)) {}

    bool HasChanged() override { return !Same(pending_, active_); }
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
        return WriteText(Written(pending_), buffer, size, kTable.minimumBuffer);
    }
    HRESULT GetParameterText(char* buffer, int size) final {
        return WriteText(Written(Shown()), buffer, size, kTable.minimumBuffer);
    }

protected:
    /// For classes whose active record starts with other values.
    explicit TwinFilter(const Record& active) : CPdibFilter(kAbout), active_(active) {}

    const Record& Pending() const { return pending_; }
    Record& Pending() { return pending_; }
    const Record& Active() const { return active_; }
    Record& Active() { return active_; }

    /// Do two records agree in all that pixels depend on?
    static bool Same(const Record& a, const Record& b) { return table::Same(kTable, a, b); }

    /// Reads a text into the pending record.
    virtual void ReadText(std::string_view text) { table::ReadAll(text, kTable, pending_); }
    /// A record as a text.
    virtual std::string Written(const Record& record) const { return table::Written(kTable, record); }
    /// The record that the text of the active parameters shows.
    virtual Record Shown() const { return active_; }

private:
    Record pending_{};
    Record active_;
};

}  // namespace kestrel
