#include "kestrel/kernels/Convolve3x3.h"

namespace kestrel::kernels {

void ConvolveRow3x3(const double weights[3][3], int bias, const std::uint8_t* const* rows,
                    const std::uint8_t* const* masks, int width, std::uint8_t* out, std::uint8_t* outMask) {
    for (int x = 0; x < width; ++x) {
        double local[3][3];
        double moved = 0;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) {
                const bool nothingThere = masks[i][x + j] == 255;
                local[i][j] = nothingThere ? 0.0 : weights[i][j];
                if (nothingThere) moved += weights[i][j];
            }
        local[1][1] += moved;
        for (int channel = 0; channel < 3; ++channel) {
            double sum = 0;
            for (int i = 0; i < 3; ++i)
                for (int j = 0; j < 3; ++j) sum += local[i][j] * rows[i][(x + j) * 3 + channel];
            sum += bias;
            out[x * 3 + channel] = static_cast<std::uint8_t>(sum < 0.0 ? 0.0 : sum > 255.0 ? 255.0 : sum);
        }
        outMask[x] = masks[1][x + 1];
    }
}

}  // namespace kestrel::kernels
