#pragma once
#include <cstdio>
#include <functional>
#include <memory>
#include <string>

#include "apps/kestrel/ChainOptions.h"
#include "apps/kestrel/Values.h"
#include "kestrel/codec/ImageLoader.h"
#include "kestrel/codec/RowDecoder.h"
#include "kestrel/host/Picture.h"

// Pictures to read and to write, as commands name them: a path, "-" for a pipe, "shop.box:harbour" for a picture in a
// box.

inline bool IsPipe(const std::string& path) { return path == "-"; }
/// The path, or "standard input" and "standard output" for a pipe.
std::string InputName(const std::string& path);
std::string OutputName(const std::string& path);

/// "bmp, gif, jpeg, ...": the formats that can be written.
std::string WritableNames();
/// The format that `--format` names. Throws `console::UsageError`.
kestrel::ImageFormat ParseFormat(const std::string& text);
/// The format that the name of the output tells; that of a picture in a box is PNG where the name tells none. Throws
/// `console::Failure`.
kestrel::ImageFormat FormatOfOutput(const std::string& output);
int ParseQuality(const std::string& text);
Rgba ParseBackground(const std::string& text);

/// The input picture and what the file says beside it; its warnings are shown. Throws `console::Failure`.
kestrel::LoadResult LoadPicture(const std::string& input, const kestrel::LoadOptions& limits);
/// The input as rows that can be read one after the other, or be loaded whole; null for a picture in a box, which can
/// only be loaded.
std::unique_ptr<kestrel::RowDecoder> OpenRows(const std::string& input, const kestrel::LoadOptions& limits);
/// Shows what an input that was read is, and its warnings. Throws `console::Failure` when it has an error.
void TellLoaded(const std::string& input, const kestrel::LoadResult& loaded);

/// What a picture is, without its pixels where the file tells it without them. Throws `console::Failure`.
kestrel::LoadResult InspectPicture(const std::string& input, kestrel::LoadOptions limits);

/// The chain that a box keeps with the picture; empty without one, and for pictures outside boxes.
std::string StoredChainIfAny(const std::string& input);
/// The chain that a box keeps with the picture. Throws `console::Failure` when there is none.
StoredChain StoredChainOf(const std::string& input);

/// What the format cannot hold goes: transparency is laid over the background, and one line says so.
void FlattenFor(const std::string& output, kestrel::ImageFormat format, const Rgba& background,
                kestrel::Picture& picture);
/// One line about the blocks that the format cannot take.
void TellLeftOut(const std::string& output, const kestrel::ImageMetadata& metadata, kestrel::ImageFormat format);
/// The line about transparency that was laid over the background.
void TellFlattened(const std::string& output, kestrel::ImageFormat format, const Rgba& background);
/// Writes what `write` puts into a stream as a file that appears whole or not at all, or to standard output. `write`
/// may throw. Throws `console::Failure`.
void WriteOutput(const std::string& output, const std::function<kestrel::CodecError(std::FILE* stream)>& write);
enum class OutputKind {
    File,  ///< that appears whole or not at all
    Pipe,  ///< or a device: what is written is written
    Box    ///< takes a picture as a whole
};
OutputKind KindOf(const std::string& output);
/// Writes a picture that appears whole or not at all; an interruption leaves none. What is there gives way. Throws
/// `console::Failure`.
void SavePicture(const std::string& output, const kestrel::Picture& picture, const kestrel::SaveOptions& save);

/// Throws `console::Failure` when the output would replace the input, of which only a part could be read.
void RefuseToReplace(const std::string& input, const std::string& output);
/// Are both one file, or one picture of a box, by whatever names?
bool IsSamePicture(const std::string& input, const std::string& output);
