#pragma once
#include <cstdio>
#include <string>
#include <vector>

#include "apps/kestrel/ApplyRun.h"
#include "kestrel/codec/RowDecoder.h"
#include "kestrel/codec/RowEncoder.h"
#include "kestrel/host/Rendering.h"

/// One picture that is read, filtered and written at the same time, in bands of rows. Only the rows at work are in
/// memory. The output is that of the picture worked on as a whole.
class BandRun {
public:
    /// Why a task has to have its picture in memory as a whole; empty when it can be run in bands. The rendering then
    /// knows the size of the picture. Null for a picture that is not read row by row.
    static std::string WhyNot(const ApplyOptions& options, const ApplyJob& job, const ApplyTask& task,
                              kestrel::Rendering& rendering, const kestrel::RowDecoder* rows);

    /// `result` is the size that the rendering makes.
    BandRun(const ApplyJob& job, const ApplyTask& task, kestrel::Rendering& rendering, kestrel::RowDecoder& rows,
            Size result);
    /// True when the input was damaged. Throws `console::Failure`.
    bool Run();

private:
    /// Reads from the first row again. Throws `console::Failure`.
    void BeginAgain();
    kestrel::CodecError WriteTo(std::FILE* stream, bool alpha);
    bool Put(kestrel::RowEncoder& encoder, bool alpha, const std::uint8_t* pixels, const std::uint8_t* mask);

    const ApplyJob& job_;
    const ApplyTask& task_;
    kestrel::Rendering& rendering_;
    kestrel::RowDecoder& rows_;
    const Region part_;      ///< of the result that is written
    const int height_;       ///< of the result
    const bool holdsAlpha_;  ///< the output's format
    bool hides_ = false;     ///< a row so far has transparency
    bool refused_ = false;   ///< by the encoder
    std::vector<std::uint8_t> line_;
};

/// Throws `console::Failure` for a rendering that did not end well; an interruption is no failure.
void CheckRendered(const std::string& input, kestrel::HRESULT done);
