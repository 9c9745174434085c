#include "kestrel/kernels/Row.h"

#include <cstring>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kestrel/kernels/Row.cpp"
#include <hwy/cache_control.h>
#include <hwy/foreach_target.h>

#include "kestrel/kernels/Rows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::kernels::HWY_NAMESPACE {

void CopyRow(const RowPair& row) {
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::uint8_t> d;
    EachGroup(row, [d](const std::uint8_t* from, std::uint8_t* to, auto put) HWY_ATTR {
        for (std::size_t i = 0; i < GroupSize(); i += hn::Lanes(d)) put(hn::LoadU(d, from + i), d, to + i);
    });
#else
    std::memcpy(row.to.data(), row.from.data(), row.size());
#endif
}

void ClearRow(const RowPair& row) {
#if HWY_TARGET != HWY_SCALAR
    const hn::ScalableTag<std::uint8_t> d;
    EachGroup(row, [d](const std::uint8_t*, std::uint8_t* to, auto put) HWY_ATTR {
        for (std::size_t i = 0; i < GroupSize(); i += hn::Lanes(d)) put(hn::Zero(d), d, to + i);
    });
#else
    std::memset(row.to.data(), 0, row.size());
#endif
}

}  // namespace kestrel::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel::kernels {

HWY_EXPORT(CopyRow);
void CopyRow(const RowPair& row) {
    if (row.from.data() == row.to.data()) return;
    if (!row.streams) return void(std::memcpy(row.to.data(), row.from.data(), row.size()));
    HWY_DYNAMIC_DISPATCH(CopyRow)(row);
}

HWY_EXPORT(ClearRow);
void ClearRow(Row row, bool streams) {
    if (!streams) return void(std::memset(row.data(), 0, row.size()));
    HWY_DYNAMIC_DISPATCH(ClearRow)({row, row, true});
}

void FinishStream() { hwy::FlushStream(); }

}  // namespace kestrel::kernels
#endif
