#include "apps/kestrel/BandRun.h"

#include <fmt/format.h>

#include <algorithm>
#include <new>
#include <optional>

#include "apps/kestrel/Console.h"
#include "apps/kestrel/Interrupt.h"
#include "apps/kestrel/PictureFiles.h"

namespace {

/// The header is written before the last row shows whether there is transparency, and turned out to be wrong.
struct OtherAlpha {};

constexpr const char* kOfBoxes = "a picture box takes and gives whole pictures";

}  // namespace

std::string NeedsAll(const std::string& filter) { return filter.empty() ? "" : filter + " needs all of it at once"; }

void CheckRendered(const std::string& input, kestrel::HRESULT done) {
    if (done == kestrel::S_OK || interrupt::Happened()) return;
    if (done == kestrel::E_OUTOFMEMORY) throw std::bad_alloc();
    if (done == kestrel::E_INVALIDARG)
        throw console::Failure{InputName(input) +
                               ": a filter's values leave no picture, as margins that cross each other do"};
    throw console::Failure{
        fmt::format("{}: the filters failed (0x{:08X})", InputName(input), static_cast<unsigned>(done))};
}

std::string BandRun::WhyNot(const ApplyOptions& options, const ApplyJob& job, const ApplyTask& task,
                            kestrel::Rendering& rendering, const kestrel::RowDecoder* rows) {
    const std::string why = WhyLoad(options, task, rendering, rows);
    return why.empty() ? WhyKeepResult(job, task, rendering) : why;
}

std::string BandRun::WhyLoad(const ApplyOptions& options, const ApplyTask& task, kestrel::Rendering& rendering,
                             const kestrel::RowDecoder* rows) {
    if (!rows) return kOfBoxes;
    if (!rows->ReadsRows()) return "its file cannot be read row by row";
    if (KindOf(task.output) == OutputKind::Pipe && IsSamePicture(task.input, task.output))
        return "it is overwritten as it stands";
    if (options.pictures.toSrgb && !rows->About().metadata.profile.empty()) return "its colors are converted";
    if (rendering.SetPictureSize(rows->Width(), rows->Height(), rows->HasAlpha()) != kestrel::S_OK)
        return "it has no pixels";
    return "";
}

std::string BandRun::WhyKeepResult(const ApplyJob& job, const ApplyTask& task, kestrel::Rendering& rendering) {
    const kestrel::ImageFormat format = job.save.format;
    const OutputKind kind = KindOf(task.output);
    if (kind == OutputKind::Box) return kOfBoxes;
    if (!kestrel::RowEncoder::Writes(format))
        return fmt::format("{} files are not written row by row", kestrel::FormatName(format));
    if (kind == OutputKind::Pipe && kestrel::FormatHoldsAlpha(format))
        return "whether it has transparency must be known before the first byte goes into a pipe";
    if (kind == OutputKind::Pipe && format == kestrel::ImageFormat::Bmp) return "a BMP file begins with the last row";
    // A line that needs the whole picture is not run a second time when its last row shows what the header should say.
    const std::string filter = rendering.NeedsWholePicture();
    const bool keeps = !filter.empty() && (kestrel::FormatHoldsAlpha(format) || !rendering.ServesRows());
    return keeps ? NeedsAll(filter) : "";
}

BandRun::BandRun(const ApplyJob& job, const ApplyTask& task, kestrel::Rendering& rendering, kestrel::RowDecoder* rows,
                 bool hasAlpha, Size result)
    : job_(job),
      task_(task),
      rendering_(rendering),
      rows_(rows),
      hasAlpha_(hasAlpha),
      part_(job.region.value_or(Region{0, 0, result.width, result.height})),
      height_(result.height),
      holdsAlpha_(kestrel::FormatHoldsAlpha(job.save.format)) {}

bool BandRun::Run() {
    std::optional<interrupt::Stoppable> scope;
    if (KindOf(task_.output) == OutputKind::File) scope.emplace([this] { rendering_.SetAbort(true); });
    for (bool alpha = holdsAlpha_ && hasAlpha_;; alpha = !alpha) {
        try {
            WriteOutput(task_.output, [&](std::FILE* stream) { return WriteTo(stream, alpha); });
            break;
        } catch (const OtherAlpha&) {
            if (rows_) BeginAgain();
        }
    }
    if (hides_ && !holdsAlpha_) TellFlattened(task_.output, job_.save.format, job_.background);
    return rows_ && rows_->Finish().condition == kestrel::Condition::Damaged;
}

void BandRun::BeginAgain() {
    const Size size{rows_->Width(), rows_->Height()};
    const bool hasAlpha = rows_->HasAlpha();
    const bool again = rows_->Restart();
    if (rows_->About().error) TellLoaded(task_.input, rows_->About());
    if (!again || rows_->Width() != size.width || rows_->Height() != size.height || rows_->HasAlpha() != hasAlpha)
        throw console::Failure{InputName(task_.input) + ": has changed while it was read"};
}

kestrel::CodecError BandRun::WriteTo(std::FILE* stream, bool alpha) {
    hides_ = refused_ = false;
    kestrel::RowEncoder encoder(stream, part_.width, part_.height, alpha, job_.save);
    const auto feed = [this](std::uint8_t* pixels, std::uint8_t* mask) {
        if (!rows_->Read(pixels, mask)) TellLoaded(task_.input, rows_->Finish());  // throws the error
    };
    const auto take = [&](std::uint8_t* pixels, const std::uint8_t* mask) {
        return Put(encoder, alpha, pixels + 3 * std::ptrdiff_t{part_.x}, mask + part_.x);
    };
    const kestrel::RowSpan span{height_ - part_.y - part_.height, part_.height};
    const kestrel::HRESULT done = rendering_.RenderRows(span, feed, take);
    if (!refused_) CheckRendered(task_.input, done);
    if (interrupt::Happened()) return {kestrel::CodecFault::System, "interrupted"};
    if (alpha && !hides_ && !refused_) throw OtherAlpha();
    if (auto error = encoder.Finish()) return error;
    if (rows_) {
        TellLoaded(task_.input, rows_->Finish());
        if (rows_->Finish().condition == kestrel::Condition::Damaged) RefuseToReplace(task_.input, task_.output);
    }
    return {};
}

bool BandRun::Put(kestrel::RowEncoder& encoder, bool alpha, std::uint8_t* pixels, const std::uint8_t* mask) {
    const Rgba& under = job_.background;
    const bool hides = holdsAlpha_ ? kestrel::MaskRowHidesAnything(mask, part_.width)
                                   : kestrel::FlattenRow(pixels, mask, part_.width, under.red, under.green, under.blue);
    hides_ = hides_ || hides;
    if (holdsAlpha_ && hides && !alpha) throw OtherAlpha();
    refused_ = !encoder.Write(pixels, mask);
    return !refused_;
}
