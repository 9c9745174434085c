#pragma once
#include <string>

#include "apps/kestrel/CommandLine.h"
#include "kestrel/codec/ImageLoader.h"

/// Options of every command that reads and writes pictures: which decoders may be used, and what travels with a
/// picture.
struct PictureOptions {
    bool trustedOnly = false;
    bool lossless = false;
    bool toSrgb = false;
    std::string strip;  ///< empty, "all" or "location"

    void AddTo(const Command& command);
    /// Sets what both need. Throws `console::UsageError` for options that cannot be.
    void Check(kestrel::LoadOptions& load, kestrel::SaveOptions& save) const;
    /// Converts the colours and strips the metadata, as asked for. `name` is that of the input. Throws
    /// `console::Failure`.
    void Edit(const std::string& name, kestrel::LoadResult& loaded) const;
};
