#include "kestrel/framework/ChainText.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace kestrel {

thread_local bool ChainText::m_FirstFieldIsName = true;

ChainText::ChainText(const char* text, const char* fieldSeparator, const char* recordSeparator) {
    const std::string_view field = fieldSeparator ? fieldSeparator : "";
    const std::string_view record = recordSeparator ? recordSeparator : "";
    if (!text || !*text || field.empty() || record.empty()) return;
    copy_ = text;
    fieldLength_ = field.size();

    const std::size_t firstEnd = copy_.find(record);
    int fields = 0;
    for (std::size_t at = copy_.find(field); at < firstEnd && at != copy_.npos;
         at = copy_.find(field, at + field.size()))
        ++fields;
    if (fields == 0) return;
    m_FirstFieldIsName = fields == 1;

    const auto blank = [this](std::size_t at, std::size_t length) { std::memset(copy_.data() + at, 0, length); };
    for (std::size_t begin = 0; begin < copy_.size();) {
        const std::size_t leading = copy_.find(field, begin);
        std::size_t separator = leading;
        if (!m_FirstFieldIsName && leading != copy_.npos) separator = copy_.find(field, leading + field.size());
        const std::size_t end = copy_.find(record, begin);
        if (separator == copy_.npos || end == copy_.npos || separator >= end) return;
        blank(leading, field.size());
        blank(separator, field.size());
        blank(end, record.size());
        records_.push_back(begin);
        begin = end + record.size();
    }
}

std::size_t ChainText::Behind(std::size_t at, std::size_t separatorLength) const {
    return std::min(at + std::strlen(copy_.c_str() + at) + separatorLength, copy_.size());
}

std::size_t ChainText::NameAt(std::size_t record) const {
    return m_FirstFieldIsName ? records_[record] : Behind(records_[record], fieldLength_);
}

const char* ChainText::Name(std::size_t record) const { return copy_.c_str() + NameAt(record); }

const char* ChainText::Parameters(std::size_t record) const {
    return copy_.c_str() + Behind(NameAt(record), fieldLength_);
}

}  // namespace kestrel
