#include "kestrel/editing/PictureHistogram.h"

#include "kestrel/kernels/Histogram.h"

namespace kestrel {

std::vector<std::array<std::uint32_t, 256>> PictureHistogram(const Dib* image) {
    if (!image) return {};
    kernels::Histogram luminance{};
    kernels::ChannelHistograms channels;
    for (int y = 0; y < image->biHeight; ++y) {
        const kernels::ConstRow row(DibRow(image, y), static_cast<std::size_t>(image->biWidth) * 3);
        kernels::CountLuminance(row, luminance);
        kernels::CountChannels(row, channels);
    }
    return {luminance, channels.red, channels.green, channels.blue};
}

}  // namespace kestrel
