#pragma once
#include <cstdio>
#include <string>

#include "apps/kestrel/ApplyRun.h"
#include "kestrel/codec/RowDecoder.h"
#include "kestrel/codec/RowEncoder.h"
#include "kestrel/host/Rendering.h"

/// One picture that is written row by row while it is filtered, and while it is read where its rows can be had one by
/// one. The output is that of the picture worked on as a whole.
class BandRun {
public:
    /// Why the picture of a task has to be loaded as a whole, or its result kept as one; empty when it goes from file
    /// to file in rows, but for what filters need of it. The rendering then knows the size of the picture. Null for a
    /// picture that is not read row by row.
    static std::string WhyNot(const ApplyOptions& options, const ApplyJob& job, const ApplyTask& task,
                              kestrel::Rendering& rendering, const kestrel::RowDecoder* rows);
    /// The second of these alone, for a rendering that knows its picture.
    static std::string WhyKeepResult(const ApplyJob& job, const ApplyTask& task, kestrel::Rendering& rendering);

    /// No `rows` for a picture that the rendering has; `hasAlpha`: the picture does. `result` is the size that the
    /// rendering makes.
    BandRun(const ApplyJob& job, const ApplyTask& task, kestrel::Rendering& rendering, kestrel::RowDecoder* rows,
            bool hasAlpha, Size result);
    /// True when the rows that were read were damaged. Throws `console::Failure`.
    bool Run();

private:
    static std::string WhyLoad(const ApplyOptions& options, const ApplyTask& task, kestrel::Rendering& rendering,
                               const kestrel::RowDecoder* rows);
    /// Reads from the first row again. Throws `console::Failure`.
    void BeginAgain();
    kestrel::CodecError WriteTo(std::FILE* stream, bool alpha);
    bool Put(kestrel::RowEncoder& encoder, bool alpha, std::uint8_t* pixels, const std::uint8_t* mask);

    const ApplyJob& job_;
    const ApplyTask& task_;
    kestrel::Rendering& rendering_;
    kestrel::RowDecoder* const rows_;  ///< null: the rendering has the picture
    const bool hasAlpha_;              ///< of the picture
    const Region part_;                ///< of the result that is written
    const int height_;                 ///< of the result
    const bool holdsAlpha_;            ///< the output's format
    bool hides_ = false;               ///< a row so far has transparency
    bool refused_ = false;             ///< by the encoder
};

/// "TMFilter.Rotate.1 needs all of it at once"; empty for no filter.
std::string NeedsAll(const std::string& filter);

/// Throws `console::Failure` for a rendering that did not end well; an interruption is no failure.
void CheckRendered(const std::string& input, kestrel::HRESULT done);
