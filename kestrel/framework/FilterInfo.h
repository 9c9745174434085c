#pragma once
#include <cstdint>

#include "kestrel/foundation/Counted.h"
#include "kestrel/foundation/QvString.h"
#include "kestrel/foundation/Ref.h"
#include "kestrel/framework/Description.h"
#include "kestrel/framework/Module.h"

namespace kestrel {

/// What a list shows of a class of filters.
struct IFilterInfo : IUnknown {
    static constexpr GUID kIid = MakeGuid("{3B6C1E0A-4C7E-4E0B-9B0D-7E3F4C2A5D11}");

    /// The title, when it is shorter than `size`.
    virtual HRESULT GetInfoName(char* buffer, int size) = 0;
    /// Three entries to one handler, which a class may override; 0.
    virtual HRESULT Notify1(void* argument) = 0;
    virtual HRESULT Notify2(void* argument) = 0;
    virtual HRESULT Notify3(void* argument) = 0;
    /// "Name": the name, when it fits; "IsActive": "1" or "0". Any other key writes nothing. Always 0.
    virtual HRESULT GetProperty(const char* key, char* buffer, int size) = 0;
    virtual HRESULT GetIconBase(char* buffer, int size) = 0;
    virtual HRESULT GetNameKey(char* buffer, int size) = 0;
    virtual HRESULT Reserved(void* argument) = 0;

protected:
    ~IFilterInfo() = default;
};

/// State of a list entry that has a bitmap of its own.
enum class EntryState { Clicked, Focused, PressedFocused };

/// Which bitmap a list draws for an entry.
struct IFilterEntry : IUnknown {
    static constexpr GUID kIid = MakeGuid("{3B6C1E0B-4C7E-4E0B-9B0D-7E3F4C2A5D11}");

    /// The icon base with the ending of the state: "_clk", "_foc" or "_prs_foc".
    virtual HRESULT GetBitmapName(EntryState state, char* buffer, int size) = 0;

protected:
    ~IFilterEntry() = default;
};

/// The info object of a class, made from its description; without one it answers "NullName" and "NullFilterName".
class CFilterInfo : public ModuleObject, public Counted<IFilterInfo, IFilterEntry> {
public:
    explicit CFilterInfo(const Description* description);

    HRESULT GetInfoName(char* buffer, int size) override;
    HRESULT Notify1(void* argument) override;
    HRESULT Notify2(void* argument) override;
    HRESULT Notify3(void* argument) override;
    HRESULT GetProperty(const char* key, char* buffer, int size) override;
    HRESULT GetIconBase(char* buffer, int size) override;
    HRESULT GetNameKey(char* buffer, int size) override;
    HRESULT Reserved(void* argument) override;
    HRESULT GetBitmapName(EntryState state, char* buffer, int size) override;

private:
    virtual ~CFilterInfo() = default;
    HRESULT Handle(void* argument);

    QvString Title;
    QvString Name;
    bool Active = true;
    QvString iconBase_;
    QvString nameKey_;
};

}  // namespace kestrel
