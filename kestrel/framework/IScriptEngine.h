#pragma once
#include <cstddef>

#include "kestrel/foundation/Unknown.h"

namespace kestrel {

/// What takes the texts of scripts. All texts are Windows-1252, end with a NUL, and are the caller's.
struct IScriptParser : IUnknown {
    static constexpr GUID kIid = MakeGuid("{ECABCAF1-2A2E-469B-9558-7704E314CC7C}");

    virtual HRESULT ParsePage(const char* text) = 0;
    virtual HRESULT ParseSequence(const char* text) = 0;
    virtual HRESULT ParseStrings(const char* text) = 0;

protected:
    ~IScriptParser() = default;
};

/// The script engine of a host, queried from it; it answers for `IScriptParser` as well.
struct IScriptEngine : IUnknown {
    static constexpr GUID kIid = MakeGuid("{7A1E4DA2-1E84-4D81-A88D-424DC39D4B66}");

    /// A picture as a picture box stores it, under its name there. The bytes are the caller's and are gone afterwards.
    virtual HRESULT AddPicture(const char* name, const void* data, std::size_t size) = 0;

protected:
    ~IScriptEngine() = default;
};

}  // namespace kestrel
