#include "apps/kestrel/PictureJson.h"

#include <map>

#include "apps/kestrel/Json.h"
#include "kestrel/codec/ImageFormat.h"

namespace {

using kestrel::PicKind;

Json LineAsJson(const BoxLine& line, bool whole) {
    const kestrel::PicDescription& about = line.picture.about;
    Json json{{"name", line.picture.entry.stream}};
    if (whole) json["storage"] = line.picture.entry.storage;
    if (line.problem.empty()) {
        json["kind"] = KindName(line);
        json["form"] = FormName(line);
        json["format"] = about.format == kestrel::ImageFormat::Unknown ? Json() : Json(FormatText(line));
        json["width"] = about.width;
        json["height"] = about.height;
        json["bytes"] = about.bytes;
        json["mask"] = about.hasMask;
    }
    json["chain"] = whole ? (line.chain.empty() ? Json() : Json(line.chain)) : Json(!line.chain.empty());
    if (whole && !about.header.native) json["position"] = {about.x, about.y};
    if (!line.record.empty()) json["record"] = line.record;
    const std::string& problem = line.problem.empty() ? about.problem : line.problem;
    if (!problem.empty()) json["problem"] = problem;
    return json;
}

}  // namespace

const char* KindName(const BoxLine& line) {
    const kestrel::PicDescription& about = line.picture.about;
    if (about.header.kind == PicKind::MaskOnly) return "mask";
    return about.hasMask ? "picture and mask" : "picture";
}

const char* FormName(const BoxLine& line) {
    const kestrel::PicHeader& header = line.picture.about.header;
    return header.native ? "file" : header.embedded ? "embedded" : "pixels";
}

std::string FormatText(const BoxLine& line) {
    const kestrel::PicDescription& about = line.picture.about;
    if (!about.header.embedded) return "-";
    return about.format == kestrel::ImageFormat::Unknown ? "?" : kestrel::FormatName(about.format);
}

std::string PictureAsJson(const BoxLine& line) { return Dumped(LineAsJson(line, true)); }

std::string PicturesAsJson(const std::vector<BoxLine>& lines) {
    Json list = Json::array();
    for (const BoxLine& line : lines) list.push_back(LineAsJson(line, false));
    return Dumped(list);
}

std::string ChainAsJson(const std::string& name, const std::string& chain) {
    return Dumped(Json{{"name", name}, {"chain", chain.empty() ? Json() : Json(chain)}});
}

std::string AnalysisAsJson(const std::string& name, int type, const std::string& extension) {
    return Dumped(Json{{"name", name}, {"type", type}, {"extension", extension.empty() ? Json() : Json(extension)}});
}

std::string OutcomesAsJson(const std::vector<PictureOutcome>& outcomes) {
    Json list = Json::array();
    std::map<std::string, std::size_t> counts{{"failed", 0}};
    for (const PictureOutcome& outcome : outcomes) {
        Json entry{{"input", outcome.input}, {"state", outcome.state}};
        if (!outcome.output.empty()) entry["output"] = outcome.output;
        if (!outcome.message.empty()) entry["message"] = outcome.message;
        list.push_back(std::move(entry));
        ++counts[outcome.state];
    }
    Json summary = Json::object();
    for (const auto& [state, count] : counts) summary[state] = count;
    return Dumped(Json{{"pictures", std::move(list)}, {"summary", std::move(summary)}});
}
