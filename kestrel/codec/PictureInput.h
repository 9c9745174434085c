#pragma once
#include <cstdio>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "kestrel/codec/Codecs.h"

namespace kestrel {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/// The bytes of a picture file, wherever they come from, and what is in them. Not installed.
class PictureInput {
public:
    /// A path that is no regular file is read to its end.
    PictureInput(const std::string& path, const LoadOptions& options);
    /// From the stream's position on; it has to outlive the input, as has memory.
    PictureInput(std::FILE* stream, const LoadOptions& options);
    PictureInput(std::span<const std::uint8_t> bytes, const LoadOptions& options);

    /// The preferred size of the options from now on.
    void Prefer(int width, int height) {
        options_.preferredWidth = width;
        options_.preferredHeight = height;
    }
    LoadResult Load();
    /// A decoder for the lines, at the first of them; null, with the error or without one, where there is none.
    std::unique_ptr<LineDecoder> Open(LoadResult& result);

private:
    using Use = std::function<void(const Codec& codec, LoadResult& result)>;

    void Take(std::FILE* stream);
    LoadResult With(const Use& use);
    bool Identify(LoadResult& result);

    LoadOptions options_;
    ImageFormat named_ = ImageFormat::Unknown;
    std::unique_ptr<std::FILE, FileCloser> file_;
    std::vector<std::uint8_t> bytes_;  ///< of what cannot seek
    ByteReader source_;
    std::uint64_t start_ = 0;
    CodecError error_;
};

}  // namespace kestrel
