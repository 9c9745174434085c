// Properties are cut out of the packet's text; all else keeps its bytes.
#include "kestrel/codec/XmpPacket.h"

#include <span>
#include <string>
#include <string_view>

namespace kestrel {
namespace {

constexpr std::string_view kTiff = "http://ns.adobe.com/tiff/1.0/", kExif = "http://ns.adobe.com/exif/1.0/",
                           kBasic = "http://ns.adobe.com/xap/1.0/", kPhotoshop = "http://ns.adobe.com/photoshop/1.0/",
                           kCore = "http://iptc.org/std/Iptc4xmpCore/1.0/xmlns/",
                           kExtension = "http://iptc.org/std/Iptc4xmpExt/2008-02-29/";

struct Property {
    std::string_view space;
    std::string_view name;
    bool begins = false;  ///< every property whose name begins so
};

constexpr Property kFileProperties[] = {{kTiff, "Orientation"},     {kTiff, "ImageWidth"},      {kTiff, "ImageLength"},
                                        {kExif, "PixelXDimension"}, {kExif, "PixelYDimension"}, {kBasic, "Thumbnails"}};
constexpr Property kPlaceProperties[] = {
    {kExif, "GPS", true}, {kPhotoshop, "City"},   {kPhotoshop, "State"},           {kPhotoshop, "Country"},
    {kCore, "Location"},  {kCore, "CountryCode"}, {kExtension, "LocationCreated"}, {kExtension, "LocationShown"}};

constexpr std::string_view kBlanks = " \t\r\n";
constexpr bool IsBlank(char c) { return kBlanks.find(c) != std::string_view::npos; }
constexpr bool IsNameChar(char c) { return !IsBlank(c) && c != '=' && c != '>' && c != '/' && c != '<'; }

/// Behind the '>' of the tag that `at` lies in; npos when there is none.
std::size_t TagEnd(std::string_view text, std::size_t at) {
    char quote = 0;
    for (; at < text.size(); ++at) {
        if (quote) {
            if (text[at] == quote) quote = 0;
        } else if (text[at] == '"' || text[at] == '\'') {
            quote = text[at];
        } else if (text[at] == '>') {
            return at + 1;
        }
    }
    return std::string_view::npos;
}

/// Behind the value of an attribute whose name ends at `at`.
std::size_t AttributeEnd(std::string_view text, std::size_t at) {
    at = text.find_first_not_of(kBlanks, at);
    if (at == std::string_view::npos || text[at] != '=') return std::string_view::npos;
    at = text.find_first_not_of(kBlanks, at + 1);
    if (at == std::string_view::npos || (text[at] != '"' && text[at] != '\'')) return std::string_view::npos;
    const std::size_t end = text.find(text[at], at + 1);
    return end == std::string_view::npos ? end : end + 1;
}

/// Behind an element whose name lies there.
std::size_t ElementEnd(std::string_view text, std::size_t name, std::size_t nameEnd) {
    const std::size_t open = TagEnd(text, nameEnd);
    if (open == std::string_view::npos || text[open - 2] == '/') return open;
    const std::string close = "</" + std::string(text.substr(name, nameEnd - name));
    for (std::size_t at = open; (at = text.find(close, at)) != std::string_view::npos; at += close.size())
        if (at + close.size() < text.size() && !IsNameChar(text[at + close.size()])) return TagEnd(text, at);
    return std::string_view::npos;
}

/// The words that stand for a name space in this packet, each with its colon.
std::vector<std::string> Prefixes(std::string_view text, std::string_view space) {
    constexpr std::string_view kDeclaration = "xmlns:";
    std::vector<std::string> prefixes;
    for (std::size_t at = 0; (at = text.find(kDeclaration, at)) != std::string_view::npos;) {
        at += kDeclaration.size();
        std::size_t end = at;
        while (end < text.size() && IsNameChar(text[end])) ++end;
        const std::size_t valueEnd = AttributeEnd(text, end);
        if (valueEnd != std::string_view::npos && text.substr(0, valueEnd - 1).ends_with(space))
            prefixes.push_back(std::string(text.substr(at, end - at)) + ":");
    }
    return prefixes;
}

/// False when a property is there and cannot be cut out.
bool Remove(std::string& text, std::string_view prefix, const Property& property) {
    const std::string qualified = std::string(prefix).append(property.name);
    for (std::size_t at = 1; (at = text.find(qualified, at)) != std::string::npos;) {
        std::size_t nameEnd = at + qualified.size();
        while (property.begins && nameEnd < text.size() && IsNameChar(text[nameEnd])) ++nameEnd;
        const bool whole = nameEnd < text.size() && !IsNameChar(text[nameEnd]);
        const std::size_t tag = text.rfind('<', at), tagBefore = text.rfind('>', at);
        const bool inTag = tag != std::string::npos && (tagBefore == std::string::npos || tagBefore < tag);
        const bool element = text[at - 1] == '<', attribute = IsBlank(text[at - 1]) && inTag;
        if (!whole || (!element && !attribute)) {
            at = nameEnd;
            continue;
        }
        const std::size_t end = element ? ElementEnd(text, at, nameEnd) : AttributeEnd(text, nameEnd);
        if (end == std::string::npos) return false;
        text.erase(at - 1, end - at + 1);
    }
    return true;
}

bool RemoveAll(std::string& text, std::span<const Property> properties) {
    if (text.find('\0') != std::string::npos) return false;  // not UTF-8
    for (const Property& property : properties)
        for (const std::string& prefix : Prefixes(text, property.space))
            if (!Remove(text, prefix, property)) return false;
    return true;
}

}  // namespace

void UpdateXmp(std::vector<std::uint8_t>& xmp) {
    std::string text(xmp.begin(), xmp.end());
    if (RemoveAll(text, kFileProperties)) xmp.assign(text.begin(), text.end());
}

void StripXmpPlace(std::vector<std::uint8_t>& xmp) {
    std::string text(xmp.begin(), xmp.end());
    if (!RemoveAll(text, kPlaceProperties)) text.clear();
    xmp.assign(text.begin(), text.end());
}

}  // namespace kestrel
