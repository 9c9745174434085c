#pragma once
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "kestrel/server/ClassTable.h"

namespace kestrel {

/// The values behind the controls of a filter's panel. They are read from a parameter text as the filter itself reads
/// it, held in the ranges that a panel offers, and written in the form that the filter's dialog writes.
class PanelValues {
public:
    /// Starts with the values of a fresh filter. `filter` is a row of the class table.
    explicit PanelValues(const ClassRow& filter);

    /// Reads a text of any bytes.
    void Read(const std::string& text);
    /// The text that a dialog resets to.
    void Reset() { values_ = defaults_; }
    /// The dialog form of the text.
    std::string Write() const;

    const ClassRow& Filter() const { return *filter_; }
    const ParameterInfo& Info() const { return info_; }
    /// `key` is one of the filter's, here and below.
    const KeyInfo& Key(std::string_view key) const { return info_.keys[IndexOf(key)]; }
    bool Has(std::string_view key) const { return index_.find(key) != index_.end(); }
    /// The keys in the order of the dialog's text; those that it does not hold come last.
    std::vector<std::string> KeysInOrder() const;

    double Number(std::string_view key) const { return values_[IndexOf(key)].number; }
    int Integer(std::string_view key) const { return static_cast<int>(Number(key)); }
    bool Flag(std::string_view key) const { return Number(key) != 0; }
    const std::string& Words(std::string_view key) const { return values_[IndexOf(key)].words; }
    bool IsDefault(std::string_view key) const { return values_[IndexOf(key)] == defaults_[IndexOf(key)]; }

    /// Takes a number, brought into the range that the panel offers; true when that changes the value.
    bool SetNumber(std::string_view key, double value);
    bool SetWords(std::string_view key, std::string words);
    bool SetDefault(std::string_view key);

private:
    struct Value {
        double number = 0;  ///< of whatever is no text
        std::string words;
        bool operator==(const Value&) const = default;
    };
    using Values = std::vector<Value>;  ///< beside the keys of `info_`

    std::size_t IndexOf(std::string_view key) const { return index_.find(key)->second; }
    std::string AsFilterWrites(const std::string& text) const;
    Values ValuesOf(const std::string& text) const;
    std::string ValueText(const KeyInfo& key, int digits) const;
    std::string WriteStored() const;
    std::string WriteUnshown(const std::vector<std::string>& shown) const;

    const ClassRow* filter_;
    ParameterInfo info_;
    std::map<std::string, std::size_t, std::less<>> index_;
    Values fresh_;
    Values defaults_;
    Values values_;
};

}  // namespace kestrel
