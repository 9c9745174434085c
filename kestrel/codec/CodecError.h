#pragma once
#include <string>

namespace kestrel {

/// What a failure is about, for callers that act on it.
enum class CodecFault {
    None,
    System,          ///< the operating system refused something; the text is its own
    NoMemory,        ///< there is not enough memory
    UnknownFormat,   ///< neither bytes nor name belong to a format that is read or written
    NotSupported,    ///< a known format in a form that is not read or written; the text names the form
    Broken,          ///< the file is damaged so that nothing can be read
    CannotHold,      ///< the format to save in cannot hold the picture: its size or its transparency
    NoPicture,       ///< what is to be saved is no 24-bit picture with a fitting mask
    PixelLimit,      ///< more pixels than `LoadOptions::pixelLimit`
    ExpansionLimit,  ///< more pixels for each byte of the file than `LoadOptions::expansionLimit`
    ScanLimit,       ///< more scans than `LoadOptions::scanLimit`
    NoPage,          ///< the file has fewer pages than `LoadOptions::page` asks for
    Untrusted,       ///< a format that `LoadOptions::trustedOnly` switches off
    InputLimit       ///< a stream that is longer than `LoadOptions::inputLimit`
};

/// Why a picture could not be read or written; made only where that is noticed.
struct [[nodiscard]] CodecError {
    CodecFault fault = CodecFault::None;
    std::string text;  ///< one line without the path, for a person

    explicit operator bool() const { return fault != CodecFault::None; }
};

}  // namespace kestrel
