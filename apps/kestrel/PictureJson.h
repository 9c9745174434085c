#pragma once
#include <string>
#include <vector>

#include "apps/kestrel/PictureBox.h"

/// What `kestrel box` tells of a picture.
struct BoxLine {
    StoredPicture picture;
    std::string problem;  ///< why nothing is known; empty otherwise
    std::string chain;    ///< its text, in a list any text; empty without one
    std::string record;   ///< the name in the caller's record; empty without one
};

/// "picture", "picture and mask" or "mask".
const char* KindName(const BoxLine& line);
/// Where the image is kept: as "file", "embedded" in a stream of the box's own form, or as "pixels".
const char* FormName(const BoxLine& line);
/// The name of the image's format; "-" for pixels, "?" for bytes that no reader knows.
std::string FormatText(const BoxLine& line);

/// All that is known of a picture.
std::string PictureAsJson(const BoxLine& line);
/// A list of pictures, each with less: of its chain only whether there is one.
std::string PicturesAsJson(const std::vector<BoxLine>& lines);
/// A chain text or none.
std::string ChainAsJson(const std::string& name, const std::string& chain);

/// What `AnalyzeFile` answered.
std::string AnalysisAsJson(const std::string& name, int type, const std::string& extension);

/// What became of one picture of several.
struct PictureOutcome {
    std::string input;
    std::string output;   ///< empty when there is none
    std::string state;    ///< "done", "damaged", "skipped", "failed", ...
    std::string message;  ///< why; empty where there is nothing to say
};
std::string OutcomesAsJson(const std::vector<PictureOutcome>& outcomes);
