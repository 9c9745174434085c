#pragma once
#include "kestrel/foundation/Counted.h"
#include "kestrel/framework/HostServices.h"
#include "kestrel/framework/Module.h"
#include "kestrel/framework/TextRenderRequest.h"

namespace kestrel {

/// Draws text for the Text filter with the fonts of the machine: the services that a host offers at the end of its
/// lines, or sets for the process. Answers the render request under the name "TextFilterDispatcher" and nothing else;
/// it knows no descriptors and no default text. Any number of threads may use one object.
class KESTREL_API TextRenderer final : public ModuleObject, public Counted<IHostServices> {
public:
    /// Sizes beyond this many pixels are drawn as this one.
    static constexpr int kMaxFontSize = 4096;

    bool Offers(const char* dispatcher) override;
    HRESULT Dispatch(const char* dispatcher, std::int32_t code, void* record) override;
    char* TranslateText(const char* text) override;

    /// Fills the request with the part of the text that falls on the picture: a 24-bit and an 8-bit record of one size,
    /// the hot spot at the corner or middle of the text (its shadow included) that belongs to the anchor. Both records
    /// stay null for an empty text or one that misses the picture. `E_OUTOFMEMORY` with nothing filled in.
    static HRESULT RenderText(TextRenderRequest& request);
    /// Frees what `RenderText` filled in.
    static void ReleaseText(TextRenderRequest* request);

private:
    ~TextRenderer() = default;
};

}  // namespace kestrel
