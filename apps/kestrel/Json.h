#pragma once
// For the ...Json.cpp files only: the headers of the JSON library take seconds to compile.
#include <nlohmann/json.hpp>
#include <string>

using Json = nlohmann::ordered_json;

/// A JSON text as commands print it. Names of files need not be UTF-8.
inline std::string Dumped(const Json& json) { return json.dump(2, ' ', false, Json::error_handler_t::replace) + '\n'; }
