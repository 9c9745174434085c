#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// An element of a store as `kestrel store` prints it.
struct StoreElement {
    std::string path;  ///< names with slashes between them, as far as the store has them in UTF-8
    bool isStorage = false;
    std::optional<std::uint64_t> size;  ///< bytes of a stream that could be opened
    std::string problem;                ///< why an element could not be read
};

std::string ElementsAsJson(const std::vector<StoreElement>& elements);

/// What an operation came to, in one object: numbers, texts and lines, in the order in which they are added.
struct StoreReport {
    std::vector<std::pair<std::string, std::string>> texts;
    std::vector<std::pair<std::string, std::uint64_t>> numbers;
    std::vector<std::string> problems;
};
std::string ReportAsJson(const StoreReport& report);
