#pragma once
#include <string>

#include "apps/kestrel/ChainOptions.h"
#include "apps/kestrel/Values.h"
#include "kestrel/codec/ImageLoader.h"
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
/// Writes a picture that appears whole or not at all; an interruption leaves none. What is there gives way. Throws
/// `console::Failure`.
void SavePicture(const std::string& output, const kestrel::Picture& picture, const kestrel::SaveOptions& save);

/// Are both one file, or one picture of a box, by whatever names?
bool IsSamePicture(const std::string& input, const std::string& output);
