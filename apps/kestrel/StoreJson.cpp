// With CatalogueJson.cpp and PictureJson.cpp the only files that include the JSON library, whose headers take seconds
// to compile.
#include "apps/kestrel/StoreJson.h"

#include <nlohmann/json.hpp>

namespace {

using Json = nlohmann::ordered_json;

/// Names of files need not be UTF-8.
std::string Dumped(const Json& json) { return json.dump(2, ' ', false, Json::error_handler_t::replace) + '\n'; }

}  // namespace

std::string ElementsAsJson(const std::vector<StoreElement>& elements) {
    Json list = Json::array();
    for (const StoreElement& element : elements) {
        Json entry{{"path", element.path}, {"kind", element.isStorage ? "storage" : "stream"}};
        if (element.size) entry["size"] = *element.size;
        if (!element.problem.empty()) entry["problem"] = element.problem;
        list.push_back(std::move(entry));
    }
    return Dumped(list);
}

std::string ReportAsJson(const StoreReport& report) {
    Json whole = Json::object();
    for (const auto& [key, text] : report.texts) whole[key] = text;
    for (const auto& [key, number] : report.numbers) whole[key] = number;
    whole["problems"] = report.problems;
    return Dumped(whole);
}
