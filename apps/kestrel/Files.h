#pragma once
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

/// All bytes of a file; "-" is standard input. A file that cannot be read or is longer than `longest` throws `Failure`.
std::string ReadWhole(const std::string& path, std::size_t longest);

struct StreamCloser {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};
/// A stream that hands its bytes on to another one, which stays open, and fails once the program was interrupted. It
/// seeks where that one is a regular file. Null when memory does not suffice.
std::unique_ptr<std::FILE, StreamCloser> InterruptibleStream(std::FILE* target);
