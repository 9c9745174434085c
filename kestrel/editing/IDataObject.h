#pragma once
#include <cstdint>
#include <string>

#include "kestrel/foundation/Unknown.h"

namespace kestrel {

/// How data travels between views: an object offers one text in several formats, each by the name that it is registered
/// under, and gives the bytes of the format that is asked for.

inline constexpr HRESULT OLE_E_ADVISENOTSUPPORTED = static_cast<HRESULT>(0x80040003);
inline constexpr HRESULT DV_E_FORMATETC = static_cast<HRESULT>(0x80040064);    ///< the format is not offered
inline constexpr HRESULT DV_E_LINDEX = static_cast<HRESULT>(0x80040068);       ///< not for that part of the data
inline constexpr HRESULT DV_E_TYMED = static_cast<HRESULT>(0x80040069);        ///< not on that medium
inline constexpr HRESULT DV_E_DVASPECT = static_cast<HRESULT>(0x8004006B);     ///< not for that aspect
inline constexpr HRESULT STG_E_MEDIUMFULL = static_cast<HRESULT>(0x80030070);  ///< the caller's medium is too small
inline constexpr HRESULT DRAGDROP_S_DROP = 0x40100;                            ///< a drag that ended in a drop
inline constexpr HRESULT DRAGDROP_S_CANCEL = 0x40101;

/// Kinds of media, as bits.
inline constexpr std::uint32_t kMediumNone = 0;
inline constexpr std::uint32_t kMediumBlock = 1;  ///< a block of memory

inline constexpr std::uint32_t kAspectContent = 1;
inline constexpr std::int32_t kWholeData = -1;

/// What a drop does, as bits.
inline constexpr std::uint32_t kDropNone = 0;
inline constexpr std::uint32_t kDropCopy = 1;
inline constexpr std::uint32_t kDropMove = 2;

/// A form in which data is offered or wanted.
struct FormatEtc {
    std::string name;
    std::uint32_t aspect = kAspectContent;
    std::int32_t index = kWholeData;
    std::uint32_t media = kMediumBlock;
};

/// The data itself, owned by whoever holds the record.
struct StorageMedium {
    std::uint32_t kind = kMediumNone;
    std::string block;
};

/// Walks the formats of an object.
struct IEnumFormatEtc : IUnknown {
    static constexpr GUID kIid = MakeGuid("{00000103-0000-0000-C000-000000000046}");

    /// Up to `count` formats. `*fetched` is how many; it may be null for a `count` of 1. Fewer than asked: `S_FALSE`.
    virtual HRESULT Next(std::uint32_t count, FormatEtc* formats, std::uint32_t* fetched) = 0;
    /// Past the end: `S_FALSE`, and the walk stands at the end.
    virtual HRESULT Skip(std::uint32_t count) = 0;
    virtual HRESULT Reset() = 0;
    /// Another walk that stands at the same place.
    virtual HRESULT Clone(IEnumFormatEtc** copy) = 0;

protected:
    ~IEnumFormatEtc() = default;
};

/// Which formats `EnumFormatEtc` lists: those that can be got, or those that can be set.
enum class DataDirection { Get = 1, Set = 2 };

struct IDataObject : IUnknown {
    static constexpr GUID kIid = MakeGuid("{0000010E-0000-0000-C000-000000000046}");

    /// The data in one format, as the caller's own copy. Not offered: one of the codes above, and the medium is empty.
    virtual HRESULT GetData(const FormatEtc* format, StorageMedium* medium) = 0;
    /// Fills the caller's medium, whose size stays; `STG_E_MEDIUMFULL` and nothing written when the data is larger.
    virtual HRESULT GetDataHere(const FormatEtc* format, StorageMedium* medium) = 0;
    /// Would `GetData` succeed?
    virtual HRESULT QueryGetData(const FormatEtc* format) = 0;
    virtual HRESULT GetCanonicalFormatEtc(const FormatEtc* format, FormatEtc* canonical) = 0;
    /// Offers data. With `release` the object takes the medium's data over and leaves the medium empty; otherwise it
    /// makes a copy.
    virtual HRESULT SetData(const FormatEtc* format, StorageMedium* medium, bool release) = 0;
    virtual HRESULT EnumFormatEtc(DataDirection direction, IEnumFormatEtc** formats) = 0;
    virtual HRESULT DAdvise(const FormatEtc* format, std::uint32_t flags, IUnknown* sink,
                            std::uint32_t* connection) = 0;
    virtual HRESULT DUnadvise(std::uint32_t connection) = 0;
    virtual HRESULT EnumDAdvise(IUnknown** connections) = 0;

protected:
    ~IDataObject() = default;
};

}  // namespace kestrel
