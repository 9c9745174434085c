#pragma once
#include <cstddef>
#include <functional>
#include <string>

/// All bytes of a file; "-" is standard input. A file that cannot be read or is longer than `longest` throws `Failure`.
/// `accept`, when given, sees the first bytes and may stop a stream that never ends by throwing.
std::string ReadWhole(const std::string& path, std::size_t longest,
                      const std::function<void(const std::string&)>& accept = {});
