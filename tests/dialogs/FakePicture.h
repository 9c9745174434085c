#pragma once
#include <optional>

#include "kestrel/dialogs/FilterPanel.h"

namespace kestrel::test {

/// A picture of 200 by 100 pixels that answers at once, as far as a test wants it to.
struct FakePicture : PictureContext {
    std::vector<std::array<std::uint32_t, 256>> InputHistogram() override { return {}; }
    QSize InputSize() override { return size; }
    void PickPoint(QWidget*, std::function<void(QPoint, QRgb)> callback) override { picked = std::move(callback); }
    void ShowHandles(const HandleFrame& shown, std::function<void(const HandleFrame&)> callback) override {
        frame = callback ? std::optional(shown) : std::nullopt;
        moved = std::move(callback);
    }
    /// The user clicks on a pixel.
    void Click(QPoint point, QRgb color) {
        if (const auto callback = std::exchange(picked, nullptr)) callback(point, color);
    }

    QSize size{200, 100};
    std::function<void(QPoint, QRgb)> picked;
    std::function<void(const HandleFrame&)> moved;
    std::optional<HandleFrame> frame;  ///< none while there are no handles
};

}  // namespace kestrel::test
