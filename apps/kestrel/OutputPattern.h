#pragma once
#include <cstddef>
#include <string>

/// What `{dir}`, `{stem}`, `{ext}` and `{n}` stand for.
struct PatternValues {
    std::string folder;  ///< "." for a file in the working folder
    std::string stem;
    std::string extension;   ///< without a dot
    std::size_t number = 0;  ///< of the picture in the list, from 1
    std::size_t count = 0;   ///< pictures in the list: numbers get as many digits as this has
};

/// The names of outputs: "small/{stem}.jpg".
class OutputPattern {
public:
    /// One that ends with a slash, or names a folder, puts "{stem}.{ext}" there. Throws `console::UsageError` for words
    /// in braces that mean nothing.
    explicit OutputPattern(std::string text);
    std::string Expand(const PatternValues& values) const;

private:
    std::string text_;
};
