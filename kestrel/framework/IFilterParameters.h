#pragma once
#include "kestrel/foundation/Unknown.h"

namespace kestrel {

/// A filter's state as one line of text.
struct IFilterParameters : IUnknown {
    static constexpr GUID kIid = MakeGuid("{2FD4C893-5F05-4F32-A109-0B0D025DBE6B}");

    /// Reads the keys that the text holds into the pending parameters. Always 0: a text cannot be wrong.
    virtual HRESULT SetParameterText(const char* text, int flag) = 0;
    /// Writes the pending parameters with a terminator. A `size` below the filter's minimum: 0, nothing written.
    /// A text that is longer than `size` holds: `E_FAIL`, nothing written.
    virtual HRESULT GetParameterTextForSave(char* buffer, int size) = 0;
    /// The same for the active parameters, those that pixels are made with.
    virtual HRESULT GetParameterText(char* buffer, int size) = 0;
    /// Keeps a value of the host's; filters do not read it.
    virtual HRESULT SetExtraParameter(const char* key, const char* value) = 0;
    /// `E_FAIL` for a missing key or a value that does not fit; the buffer is then left alone.
    virtual HRESULT GetExtraParameter(const char* key, char* buffer, int size) = 0;

protected:
    ~IFilterParameters() = default;
};

}  // namespace kestrel
