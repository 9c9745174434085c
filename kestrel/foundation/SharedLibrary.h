#pragma once
#include <dlfcn.h>

namespace kestrel {

/// A shared library that is loaded by the first file, text or settings that need it: the long tail of formats, and the
/// drawing of text, would otherwise make every start of the program wait for some eighty libraries. It stays loaded.
/// Not installed.
class SharedLibrary {
public:
    explicit SharedLibrary(const char* name) : handle_(dlopen(name, RTLD_NOW | RTLD_LOCAL)) {}
    SharedLibrary(const SharedLibrary&) = delete;
    SharedLibrary& operator=(const SharedLibrary&) = delete;

    /// Whether the library and every function that was asked for are there.
    bool IsThere() const { return handle_ && complete_; }

protected:
    ~SharedLibrary() = default;

    template <class Function>
    Function* Find(const char* name) {
        auto* const function = handle_ ? reinterpret_cast<Function*>(dlsym(handle_, name)) : nullptr;
        complete_ &= function != nullptr;
        return function;
    }

private:
    void* handle_;
    bool complete_ = true;
};

}  // namespace kestrel

/// A member that is the function of that name, with the type that the library's header declares.
#define KESTREL_LATE(name) decltype(::name)* name = Find<decltype(::name)>(#name)
