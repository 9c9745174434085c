#pragma once
#include <exception>
#include <string>

#include "kestrel/foundation/Export.h"

namespace kestrel {

/// Base of the exceptions of streams and of the picture box: a text and a code. Each operation of the picture box
/// catches them, logs them and turns them into a failure; users of bare streams catch them themselves.
class KESTREL_API CQvError : public std::exception {
public:
    CQvError(std::string text, int code) : text_(std::move(text)), code_(code) {}

    const char* what() const noexcept override { return text_.c_str(); }
    const std::string& Text() const { return text_; }
    int Code() const { return code_; }

protected:
    /// "source(line)", the form in which errors name the place where they were found.
    static std::string Place(const char* source, int line) {
        return std::string(source) + "(" + std::to_string(line) + ")";
    }

private:
    std::string text_;
    int code_;
};

/// A compressed stream is damaged, or cannot be read or written. The codes are those of `ZlibError`.
class KESTREL_API QvStreamException final : public CQvError {
public:
    QvStreamException(std::string text, int code) : CQvError(std::move(text), code) {}
};

/// A failure of the picture box. It is told to the debug monitor.
class KESTREL_API CGalleryError final : public CQvError {
public:
    CGalleryError(const std::string& text, int code, const char* source, int line);
    const std::string& FoundAt() const { return place_; }

private:
    std::string place_;
};

/// A failure of a file below a storage. It is told to the log.
class KESTREL_API CStorageFileError final : public CQvError {
public:
    CStorageFileError(const std::string& text, int code, const char* source, int line);
    const std::string& FoundAt() const { return place_; }

private:
    std::string place_;
};

/// A failure that users of the files of a folder tree report.
class KESTREL_API CSimpStorageFileError final : public CQvError {
public:
    CSimpStorageFileError(std::string text, int code) : CQvError(std::move(text), code) {}
};

}  // namespace kestrel
