// Any bytes as a bag, a tag and another bag, each up to a zero byte: every walk ends, and what is written is read back.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "kestrel/parameters/Parameter.h"

using namespace kestrel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::string text = input.c_str();
    const std::string tag = text.size() < size ? input.c_str() + text.size() + 1 : "";
    const std::size_t rest = text.size() + tag.size() + 2;
    const std::string other = rest < size ? input.substr(rest) : "";

    Parameter bag(text);
    static_cast<void>(bag == Parameter(other));
    static_cast<void>(Parameter(other) == bag);
    QvString value;
    const bool had = bag.Get(tag.c_str(), value);
    static_cast<void>(bag.GetDouble(tag.c_str()) + (bag.GetPtr(tag.c_str()) ? 1 : 0));
    bag.Set(tag.c_str(), other.c_str());
    if (had && bag.GetString(tag.c_str()) != other.c_str()) std::abort();  // an entry that is found stays in its place
    bag.RemoveTag(tag.c_str());

    Parameter sound;
    sound.Set("a", QvString(text.data(), static_cast<int>(text.size())));
    sound.Set("b", other.c_str());
    sound.Set("a", other.c_str());
    if (sound.GetString("a") != other.c_str() || sound != Parameter(static_cast<const char*>(sound))) std::abort();
    if (!sound.RemoveTag("b") || sound.GetString("a") != other.c_str()) std::abort();
    return 0;
}
