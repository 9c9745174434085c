#include "apps/kestrel/ApplyRun.h"

#include <fmt/format.h>

#include <cstdint>
#include <new>
#include <optional>
#include <utility>

#include "apps/kestrel/BandRun.h"
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

/// With `tells` also says what filters do not take up of their texts.
void SetUp(const ApplyOptions& options, const ApplyJob& job, const ApplyTask& task, Rendering& rendering, bool tells) {
    std::optional<StoredChain> stored;
    if (options.storedChain) stored = StoredChainOf(task.input);
    options.chain.ApplyTo(rendering, stored ? &*stored : nullptr, tells);
    if (rendering.SetRenderScale(job.renderScale) != kestrel::S_OK)
        throw console::Failure{"--render-scale: the number is too large"};
    if (job.view) rendering.SetViewSize(job.view->width, job.view->height);
    if (rendering.SetThreads(job.threads) != kestrel::S_OK)
        throw console::UsageError{fmt::format("--threads: {} is not possible", job.threads)};
}

/// Tells what becomes of the picture, and refuses what cannot be; the size of the result.
Size CheckResult(const ApplyOptions& options, const ApplyJob& job, const ApplyTask& task, Rendering& rendering) {
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
    return {width, height};
}

void TellDone(const ApplyTask& task, Size size, const Rendering& rendering) {
    console::Detail(fmt::format("{}: {} x {} pixels after {} filters", OutputName(task.output), size.width, size.height,
                                rendering.FilterCount()));
}

/// Filters a picture that the rendering has, and writes what comes of it.
void WriteWhole(const ApplyJob& job, const ApplyTask& task, Rendering& rendering, Size size) {
    Picture picture;
    {
        const interrupt::Stoppable scope([&] { rendering.SetAbort(true); });
        CheckRendered(task.input, rendering.RenderAndRelease(picture));
    }
    TellDone(task, size, rendering);
    if (interrupt::Happened()) return;
    if (job.region) picture = CutPicture(picture, job.region->x, job.region->y, job.region->width, job.region->height);
    if (!picture.image) throw std::bad_alloc();
    FlattenFor(task.output, job.save.format, job.background, picture);
    if (task.alone) console::Progress("writing " + OutputName(task.output));
    SavePicture(task.output, picture, job.save);
}

bool IsReduced(const ApplyTask& task, Rendering& rendering, Size full, Size decoded) {
    if (decoded.width == full.width && decoded.height == full.height) return false;
    if (rendering.SetPictureSize(full.width, full.height, false) != kestrel::S_OK ||
        !rendering.MakesTheSameOf(decoded.width, decoded.height))
        return false;
    console::Detail(fmt::format("{}: decoded at {} of {} pixels (--fast-load)", InputName(task.input),
                                SizeText(decoded.width, decoded.height), SizeText(full.width, full.height)));
    return true;
}

/// Has the picture decoded no larger than the line needs it, as long as the size of the result stays.
void PreferLess(const ApplyJob& job, const ApplyTask& task, Rendering& rendering, kestrel::RowDecoder& rows) {
    const bool known = rows.ReadsRows();
    if (rows.About().error || (!known && IsPipe(task.input))) return;
    const kestrel::LoadResult seen = known ? kestrel::LoadResult() : InspectPicture(task.input, job.limits);
    const kestrel::LoadResult& about = known ? rows.About() : seen;
    const Size full{static_cast<int>(about.fullWidth), static_cast<int>(about.fullHeight)};
    Size required;
    if (rendering.SetPictureSize(full.width, full.height, false) != kestrel::S_OK) return;
    rendering.GetRequiredSize(&required.width, &required.height);
    for (int times = 1; required.width > 0 && times <= 4; times *= 2) {  // a rounded size may lead to another result
        if (required.width > full.width / times || required.height > full.height / times) break;
        rows.Prefer(required.width * times, required.height * times);
        if (!rows.ReadsRows() || IsReduced(task, rendering, full, {rows.Width(), rows.Height()})) return;
    }
    rows.Prefer(0, 0);
}

/// The picture as a whole; one that was reduced, with another result, is decoded once more.
kestrel::LoadResult LoadWhole(const ApplyOptions& options, const ApplyJob& job, const ApplyTask& task,
                              Rendering& rendering, kestrel::RowDecoder* rows) {
    if (!rows) return LoadPicture(task.input, job.limits);
    const bool checked = rows->ReadsRows();  // whether the reduced size suits is known already
    kestrel::LoadResult loaded = rows->LoadWhole();
    if (options.fastLoad && !checked && loaded.image) {
        const Size full{static_cast<int>(loaded.fullWidth), static_cast<int>(loaded.fullHeight)};
        const Size decoded{loaded.image->biWidth, loaded.image->biHeight};
        const bool smaller = decoded.width != full.width || decoded.height != full.height;
        if (smaller && !IsReduced(task, rendering, full, decoded)) {
            rows->Prefer(0, 0);
            loaded = rows->LoadWhole();
        }
    }
    TellLoaded(task.input, loaded);
    return loaded;
}

}  // namespace

int RunApply(const ApplyOptions& options, ApplyJob job, const ApplyTask& task) {
    Rendering rendering;
    SetUp(options, job, task, rendering, task.alone || options.storedChain);
    if (task.alone) console::Progress("reading " + InputName(task.input));
    const auto rows = OpenRows(task.input, job.limits);
    if (options.fastLoad && rows) PreferLess(job, task, rendering, *rows);
    std::string whole = BandRun::WhyNot(options, job, task, rendering, rows.get());
    const bool readsRows = whole.empty();
    kestrel::LoadResult loaded;
    if (readsRows)
        loaded.metadata = rows->About().metadata;
    else
        loaded = LoadWhole(options, job, task, rendering, rows.get());
    bool damaged = loaded.condition == kestrel::Condition::Damaged;
    if (damaged) RefuseToReplace(task.input, task.output);
    options.pictures.Edit(InputName(task.input), loaded);
    job.save.metadata = &loaded.metadata;
    TellLeftOut(task.output, loaded.metadata, job.save.format);
    const bool hasAlpha = readsRows ? rows->HasAlpha() : loaded.mask != nullptr;
    if (!readsRows && rendering.SetPicture({std::move(loaded.image), std::move(loaded.mask)}) != kestrel::S_OK)
        throw console::Failure{InputName(task.input) + ": the picture cannot be filtered"};
    const Size size = CheckResult(options, job, task, rendering);
    if (readsRows) whole = NeedsAll(rendering.NeedsWholePicture());
    console::Detail(InputName(task.input) + (whole.empty() ? ": read, filtered and written in bands of rows"
                                                           : ": worked on as a whole: " + whole));
    if (task.alone) console::Progress(fmt::format("filtering {} x {} pixels", size.width, size.height));
    if (readsRows || BandRun::WhyKeepResult(job, task, rendering).empty()) {
        damaged |= BandRun(job, task, rendering, readsRows ? rows.get() : nullptr, hasAlpha, size).Run();
        TellDone(task, size, rendering);
    } else {
        WriteWhole(job, task, rendering, size);
    }
    if (interrupt::Happened()) return interrupt::ExitCode();
    if (!options.printChain.empty()) console::Print(rendering.ChainText(options.printChain == "active"));
    return damaged ? console::kDamagedInput : console::kDone;
}

std::uint64_t MemoryOfApply(const ApplyOptions& options, const ApplyJob& job, const ApplyTask& task, Size size) {
    constexpr std::uint64_t kForEverything = 16 << 20;  // buffers, tables and the like
    Rendering rendering;
    SetUp(options, job, task, rendering, false);
    const auto rows = OpenRows(task.input, job.limits);
    if (BandRun::WhyNot(options, job, task, rendering, rows.get()).empty())
        return kForEverything + rows->Memory() + rendering.MemoryOfRows();
    if (rows && rows->About().fullWidth > 0) {
        size = {static_cast<int>(rows->About().fullWidth), static_cast<int>(rows->About().fullHeight)};
    } else if (rows) {
        const kestrel::LoadResult seen = InspectPicture(task.input, job.limits);
        size = {static_cast<int>(seen.fullWidth), static_cast<int>(seen.fullHeight)};
    }
    if (rendering.SetPictureSize(size.width, size.height, true) != kestrel::S_OK) return kForEverything;
    return kForEverything + rendering.MemoryOfWhole();
}
