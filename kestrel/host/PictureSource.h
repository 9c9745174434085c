#pragma once
#include <functional>
#include <utility>

#include "kestrel/foundation/Export.h"
#include "kestrel/framework/LineEnds.h"
#include "kestrel/framework/Module.h"
#include "kestrel/framework/RowLender.h"
#include "kestrel/host/Picture.h"
#include "kestrel/host/RowWindow.h"

namespace kestrel {

/// The head of a line: serves the rows of a picture. A request beyond the picture is served as far as it lies inside.
class KESTREL_API PictureSource final : public ModuleObject, public LineSource, public RowLender {
public:
    /// The blocks stay the caller's and are to live as long as requests are made; null takes the picture away. A line
    /// sees every call as a new picture. A mask must have the image's size.
    void SetPicture(const Dib* image, const Dib* mask);

    /// The same for a picture of which a part is in memory; whoever asks for rows sees to it that they are there.
    void SetRows(const RowWindow& rows);
    const RowWindow& Rows() const { return rows_; }

    /// Has `release` called when a one-shot rendering has used the picture, which may then be freed: requests fail
    /// until another one is set. Empty: the picture stays.
    void OnRelease(std::function<void()> release) { release_ = std::move(release); }
    void ReleaseOutput() override;

    bool ServesBands() const override { return true; }
    bool IsOpaque() const override { return !rows_.hasMask; }
    LentRow Lend(int x, int y, int width) const override;
    /// A row that is its own destination is left as it is, so that a line may work on the picture's own rows.
    HRESULT TransformArea(int dstX, int dstY, int srcX, int srcY, int width, int height, std::uint8_t* const* rows,
                          std::uint8_t* const* maskRows) override;

private:
    ~PictureSource() = default;

    RowWindow rows_;
    std::function<void()> release_;
};

}  // namespace kestrel
