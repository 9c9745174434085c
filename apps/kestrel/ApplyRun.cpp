#include "apps/kestrel/ApplyRun.h"

#include <fmt/format.h>

#include <cstdint>
#include <new>
#include <utility>

#include "apps/kestrel/Console.h"
#include "apps/kestrel/Interrupt.h"
#include "apps/kestrel/PictureFiles.h"
#include "kestrel/host/Rendering.h"

namespace {

using kestrel::Picture;
using kestrel::Rendering;

std::string SizeText(int width, int height) { return fmt::format("{} x {}", width, height); }

/// With `--verbose`: the size of each filter's output, and what became of the view's size.
void TellGeometry(const ApplyOptions& options, const ApplyJob& job, const ApplyTask& task, Rendering& rendering) {
    if (!options.verbose) return;
    for (const kestrel::LinkGeometry& link : rendering.LinkGeometries()) {
        const kestrel::FilterGeometry& g = link.geometry;
        console::Detail(fmt::format(
            "{}: {} pixels in a frame of {}, origin {}, {}", link.progId.empty() ? InputName(task.input) : link.progId,
            SizeText(g.Width, g.Height), SizeText(g.FullWidth, g.FullHeight), g.OffsetX, g.OffsetY));
    }
    if (!job.view) return;
    Size seen, required;
    rendering.GetViewSize(&seen.width, &seen.height);
    rendering.GetRequiredSize(&required.width, &required.height);
    console::Detail(fmt::format(
        "view {}: {} at the end of the chain, {}", options.view, SizeText(seen.width, seen.height),
        required.width > 0 ? "the picture is asked for in " + SizeText(required.width, required.height) + " pixels"
                           : "the picture may have any size"));
}

Picture Filter(const ApplyOptions& options, const ApplyJob& job, const ApplyTask& task, Rendering& rendering,
               Picture picture) {
    if (rendering.SetRenderScale(job.renderScale) != kestrel::S_OK)
        throw console::Failure{"--render-scale: the number is too large"};
    if (job.view) rendering.SetViewSize(job.view->width, job.view->height);
    if (rendering.SetThreads(job.threads) != kestrel::S_OK || rendering.SetPicture(std::move(picture)) != kestrel::S_OK)
        throw console::Failure{InputName(task.input) + ": the picture cannot be filtered"};
    int width = 0, height = 0;
    rendering.GetOutputSize(&width, &height);
    TellGeometry(options, job, task, rendering);
    options.chain.TellWithPicture(rendering, job.renderScale);
    if (width <= 0 || height <= 0)
        throw console::Failure{
            fmt::format("{}: the filters leave no picture ({} x {} pixels)", InputName(task.input), width, height)};
    if (const std::int64_t largest = rendering.LargestPixelCount();
        largest > 0 && static_cast<std::uint64_t>(largest) > job.limits.pixelLimit)
        throw console::Failure{
            fmt::format("{}: the filters make a picture of {} pixels, the limit is {}; raise it with "
                        "--limit-pixels",
                        InputName(task.input), largest, job.limits.pixelLimit)};
    if (job.region && (job.region->x > width - job.region->width || job.region->y > height - job.region->height))
        throw console::Failure{
            fmt::format("--region {}: the result has only {} x {} pixels", options.region, width, height)};

    if (task.alone) console::Progress(fmt::format("filtering {} x {} pixels", width, height));
    Picture result;
    {
        const interrupt::Stoppable scope([&] { rendering.SetAbort(true); });
        const kestrel::HRESULT done = rendering.RenderAndRelease(result);
        if (done == kestrel::E_OUTOFMEMORY) throw std::bad_alloc();
        if (done == kestrel::E_INVALIDARG)
            throw console::Failure{InputName(task.input) +
                                   ": a filter's values leave no picture, as margins that cross each other do"};
        if (done != kestrel::S_OK && !interrupt::Happened())
            throw console::Failure{
                fmt::format("{}: the filters failed (0x{:08X})", InputName(task.input), static_cast<unsigned>(done))};
    }
    console::Detail(fmt::format("{}: {} x {} pixels after {} filters", OutputName(task.output), width, height,
                                rendering.FilterCount()));
    return result;
}

void SetChain(const ApplyOptions& options, const ApplyTask& task, Rendering& rendering) {
    if (!options.storedChain) return options.chain.ApplyTo(rendering, nullptr, task.alone);
    const StoredChain stored = StoredChainOf(task.input);
    options.chain.ApplyTo(rendering, &stored);
}

}  // namespace

int RunApply(const ApplyOptions& options, ApplyJob job, const ApplyTask& task) {
    Rendering rendering;
    SetChain(options, task, rendering);
    if (task.alone) console::Progress("reading " + InputName(task.input));
    kestrel::LoadResult loaded = LoadPicture(task.input, job.limits);
    const bool damaged = loaded.condition == kestrel::Condition::Damaged;
    if (damaged && IsSamePicture(task.input, task.output))
        throw console::Failure{OutputName(task.output) +
                               ": is damaged, and would be replaced by what could be read of it; name another OUTPUT"};
    options.pictures.Edit(InputName(task.input), loaded);
    job.save.metadata = &loaded.metadata;
    TellLeftOut(task.output, loaded.metadata, job.save.format);
    Picture picture = Filter(options, job, task, rendering, {std::move(loaded.image), std::move(loaded.mask)});
    if (interrupt::Happened()) return interrupt::ExitCode();
    if (job.region) picture = CutPicture(picture, job.region->x, job.region->y, job.region->width, job.region->height);
    if (!picture.image) throw std::bad_alloc();
    FlattenFor(task.output, job.save.format, job.background, picture);
    if (task.alone) console::Progress("writing " + OutputName(task.output));
    SavePicture(task.output, picture, job.save);
    if (interrupt::Happened()) return interrupt::ExitCode();
    if (!options.printChain.empty()) console::Print(rendering.ChainText(options.printChain == "active"));
    return damaged ? console::kDamagedInput : console::kDone;
}
