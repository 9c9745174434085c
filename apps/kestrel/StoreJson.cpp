#include "apps/kestrel/StoreJson.h"

#include "apps/kestrel/Json.h"

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
