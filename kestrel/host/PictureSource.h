#pragma once
#include "kestrel/foundation/Export.h"
#include "kestrel/framework/LineEnds.h"
#include "kestrel/framework/Module.h"
#include "kestrel/host/Picture.h"

namespace kestrel {

/// The head of a line: serves the rows of a picture. A request beyond the picture is served as far as it lies inside.
class KESTREL_API PictureSource final : public ModuleObject, public LineSource {
public:
    /// The blocks stay the caller's and are to live as long as requests are made; null takes the picture away. A line
    /// sees every call as a new picture. A mask must have the image's size.
    void SetPicture(const Dib* image, const Dib* mask);

    const Dib* Image() const { return image_; }
    const Dib* Mask() const { return mask_; }

    bool ServesBands() const override { return true; }
    /// A row that is its own destination is left as it is, so that a line may work on the picture's own rows.
    HRESULT TransformArea(int dstX, int dstY, int srcX, int srcY, int width, int height, std::uint8_t* const* rows,
                          std::uint8_t* const* maskRows) override;

private:
    ~PictureSource() = default;
    int Width() const { return image_ ? image_->biWidth : 0; }
    int Height() const { return image_ ? image_->biHeight : 0; }

    const Dib* image_ = nullptr;
    const Dib* mask_ = nullptr;
};

}  // namespace kestrel
