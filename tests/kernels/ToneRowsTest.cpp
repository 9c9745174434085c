// Every compiled instruction set gives the bytes of the one-pixel rules of the curve, hue and mixer filters: random
// settings, all quotients, all tails, nothing beyond.
#define HWY_WANT_AVX3_DL  // which the byte tables are compiled for too
#include <gtest/gtest.h>
#include <hwy/highway.h>
#include <hwy/tests/hwy_gtest.h>

#include <array>
#include <functional>
#include <limits>
#include <random>
#include <string_view>
#include <vector>

#include "kestrel/kernels/BalanceRow.h"
#include "kestrel/kernels/GainRow.h"
#include "kestrel/kernels/HueRangeRow.h"
#include "kestrel/kernels/HueRows.h"
#include "kestrel/kernels/MixerRow.h"
#include "kestrel/kernels/YiqRows.h"
#include "tests/kernels/RandomBytes.h"

namespace kestrel::kernels {
namespace {

struct ToneRowsTest : hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(ToneRowsTest);

using Row = std::vector<std::uint8_t>;

struct Numbers {
    std::mt19937 engine;
    int Int(int least, int greatest) {
        return least + static_cast<int>(engine() % static_cast<unsigned>(greatest - least + 1));
    }
    double Double(double least, double greatest) { return least + (greatest - least) * (Int(0, 1 << 20) / 1048576.0); }
    /// Degrees next to each other that are changed alike; where all differ, little is left to an estimate.
    std::size_t AlikeDegrees() { return Int(0, 2) == 0 ? 1 : static_cast<std::size_t>(Int(2, 120)); }
    ByteTable Table() {
        ByteTable table;
        for (auto& entry : table) entry = static_cast<std::uint8_t>(engine());
        return table;
    }
};

/// A row form and its rule with settings drawn from a seed. Some seeds draw settings that only the plain form can do.
struct Form {
    const char* name;
    std::function<std::pair<std::function<void(std::span<std::uint8_t>)>, std::function<Bgr(Bgr)>>(Numbers)> make;
};

MixerChannel RandomChannel(Numbers& n, int most) {
    MixerChannel channel = MakeMixerChannel({n.Int(-most, most), n.Int(-most, most), n.Int(-most, most)});
    channel.on = n.Int(0, 3) != 0;
    channel.constant = n.Int(-300, 300);
    if (n.Int(0, 1) == 0) channel.gamma = n.Table();
    return channel;
}

const std::vector<Form>& Forms() {
    static const std::vector<Form> forms = {
        {"ChannelTables",
         [](Numbers n) {
             const ChannelTables t{n.Table(), n.Table(), n.Table()};
             return std::pair{[=](auto row) { ChannelTablesRow(row, t); },
                              [=](Bgr p) {
                                  return Bgr{t.blue[p.blue], t.green[p.green], t.red[p.red]};
                              }};
         }},
        {"Table",
         [](Numbers n) {
             const ByteTable t = n.Int(0, 3) == 0 ? kIdentityTable : n.Table();
             const bool byChannel = n.Int(0, 1) == 0;
             return std::pair{[=](auto row) {
                                  byChannel ? ChannelTablesRow(row, {t, t, t}) : TableRow(row, t);
                              },
                              [=](Bgr p) {
                                  return Bgr{t[p.blue], t[p.green], t[p.red]};
                              }};
         }},
        {"Balance",
         [](Numbers n) {
             std::array<Cast, 3> casts;
             const int most = n.Int(0, 3) == 0 ? 70000 : 255;
             for (Cast& cast : casts) {
                 const int sign = n.Int(0, 7) == 0 ? 0 : n.Int(0, 1) == 0 ? 1 : -1;
                 for (auto& entry : cast) entry = sign == 0 ? n.Int(-most, most) : sign * n.Int(0, most);
             }
             const Balance b = MakeBalance(casts[0], casts[1], casts[2]);
             return std::pair{[=](auto row) { BalanceRow(row, b); }, [=](Bgr p) { return BalancePixel(p, b); }};
         }},
        {"LuminanceCurve",
         [](Numbers n) {
             const LuminanceCurve c(n.Table(), LuminancePixel);
             return std::pair{[=](auto row) { LuminanceRow(row, c); },
                              [=](Bgr p) { return LuminancePixel(p, c.tones); }};
         }},
        {"Optimize",
         [](Numbers n) {
             const LuminanceCurve c(n.Table(), OptimizePixel);
             return std::pair{[=](auto row) { LuminanceRow(row, c); },
                              [=](Bgr p) { return OptimizePixel(p, c.tones); }};
         }},
        {"Gain",
         [](Numbers n) {
             LuminanceGains g;
             for (auto& gain : g) gain = static_cast<float>(n.Double(0, n.Int(0, 3) == 0 ? 300 : 2));
             if (n.Int(0, 3) == 0) g[static_cast<std::size_t>(n.Int(0, 255))] = 1e30f;
             if (n.Int(0, 3) == 0) g[static_cast<std::size_t>(n.Int(0, 255))] = std::numeric_limits<float>::quiet_NaN();
             return std::pair{[=](auto row) { GainRow(row, g); }, [=](Bgr p) { return GainPixel(p, g); }};
         }},
        {"Tuning",
         [](Numbers n) {
             TuningFactors f;
             const std::size_t alike = n.AlikeDegrees();
             for (std::size_t i = 0; i < f.size(); ++i) f[i] = i % alike == 0 ? n.Double(0, 3) : f[i - 1];
             return std::pair{[t = Tuning(f)](auto row) { TuningRow(row, t); },
                              [=](Bgr p) { return TuningPixel(p, f); }};
         }},
        {"Hsb",
         [](Numbers n) {
             HsbChanges c;
             const std::size_t alike = n.AlikeDegrees();
             const bool moves = n.Int(0, 1) == 0;
             for (std::size_t i = 0; i < c.size(); ++i)
                 c[i] = i % alike != 0 ? c[i - 1]
                        : moves        ? HsbChange{n.Int(-180, 180) * 1.0, n.Double(0, 3), n.Int(-100, 100) / 100.0}
                                       : HsbChange{.saturation = n.Double(0, 3)};
             c[360].brightness = n.Int(-1000000, 1000000);  // of the greys: not held
             return std::pair{[h = Hsb(c)](auto row) { HsbRow(row, h); }, [=](Bgr p) { return HsbPixel(p, c); }};
         }},
        {"HueRange",
         [](Numbers n) {
             RangeTables t;
             HueRangeWeights w;
             const int most = n.Int(0, 3) == 0 ? 2000000 : 255;
             for (auto* table : {&t.red, &t.green, &t.blue})
                 for (auto& entry : *table) entry = n.Int(-most, most);
             for (auto& weight : w.falloff) weight = n.Int(0, 255);
             for (auto& weight : w.saturation) weight = n.Int(0, 255);
             w.falloff[0] = w.saturation[255] = 255;
             const int centre = n.Int(0, 5) == 0 ? n.Int(-200000, 200000) : n.Int(0, kHueTurn);
             return std::pair{[=](auto row) { HueRangeRow(row, centre, t, w); },
                              [=](Bgr p) { return HueRangePixel(p, centre, t, w); }};
         }},
        {"Mixer",
         [](Numbers n) {
             const int most = n.Int(0, 3) == 0 ? 20000 : n.Int(0, 1) == 0 ? 10000 : 200;
             const Mixer m{RandomChannel(n, most), RandomChannel(n, most), RandomChannel(n, most),
                           RandomChannel(n, most)};
             return std::pair{[=](auto row) { MixerRow(row, m); }, [=](Bgr p) { return MixPixel(p, m); }};
         }},
    };
    return forms;
}

void ExpectRowIsRule(const Form& form, unsigned seed, Row row, std::size_t offset, std::size_t size) {
    const auto [rowForm, rule] = form.make(Numbers{std::mt19937(seed)});
    Row want = row;
    for (std::size_t i = offset; i + 2 < offset + size; i += 3) Store(&want[i], rule(Load(&want[i])));
    rowForm(std::span(row).subspan(offset, size));
    for (std::size_t i = 0; i < row.size(); ++i)
        ASSERT_EQ(row[i], want[i]) << form.name << " seed " << seed << " offset " << offset << " size " << size
                                   << " byte " << i;
}

TEST_P(ToneRowsTest, RandomSettings) {
    Row row = RandomBytes(3 * 1200, 5);
    for (std::size_t i = 0; i < 256; ++i) row[3 * i] = row[3 * i + 1] = row[3 * i + 2] = static_cast<std::uint8_t>(i);
    for (std::size_t i = 0; i < 300; ++i) row[3 * 256 + i] = (i * 7 / 3) % 2 == 0 ? 255 : 0;
    for (const Form& form : Forms())
        for (unsigned seed = 0; seed < 40; ++seed) ExpectRowIsRule(form, seed, row, 0, row.size());
}

/// Whole degrees of hue, where a color may belong to one or the next, and a little of everything between.
TEST_P(ToneRowsTest, HuesOfWholeDegrees) {
    Row row;
    for (const int max : {3, 61, 120, 180, 255})
        for (int min = 0; min < max; min += 1 + max / 9)
            for (int middle = min; middle <= max; middle += 1 + (max - min) / 12)
                for (const auto& [blue, green, red] : {std::array{min, middle, max},
                                                       {middle, min, max},
                                                       {max, min, middle},
                                                       {max, middle, min},
                                                       {min, max, middle},
                                                       {middle, max, min}})
                    for (const int byte : {blue, green, red}) row.push_back(static_cast<std::uint8_t>(byte));
    for (const Form& form : Forms())
        if (form.name == std::string_view("Hsb") || form.name == std::string_view("Tuning"))
            for (unsigned seed = 0; seed < 60; ++seed) ExpectRowIsRule(form, seed, row, 0, row.size());
}

TEST_P(ToneRowsTest, EveryTailAndNothingBeyond) {
    for (const Form& form : Forms())
        for (std::size_t offset = 0; offset < 3; ++offset)
            for (std::size_t pixels = 0; pixels <= 70; ++pixels)
                ExpectRowIsRule(form, 3, RandomBytes(4 + 3 * 70 + 64, static_cast<unsigned>(pixels)), offset,
                                pixels * 3);
}

/// Integer quotients of the hue and the saturation are taken in single precision: all of them, of one greatest channel.
TEST_P(ToneRowsTest, EveryHueAndSaturationOfABrightRed) {
    RangeTables tables{};
    tables.blue.fill(255);
    HueRangeWeights weights{};
    for (std::size_t i = 0; i < 240; ++i) weights.falloff[i] = 255 - static_cast<int>(i);
    for (std::size_t i = 0; i < 256; ++i) weights.saturation[i] = static_cast<int>(i);
    for (int red = 1; red < 256; red += 1 + red % 3) {
        Row row;
        for (int green = 0; green <= red; ++green)
            for (const int blue : {0, 1, red / 3, red / 2, red - 1, red})
                for (const int byte : {blue, green, red}) row.push_back(static_cast<std::uint8_t>(byte));
        Row want = row;
        for (const int centre : {0, 3000, 10000, 15000}) {
            Row got = row;
            HueRangeRow(got, centre, tables, weights);
            for (std::size_t i = 0; i < row.size(); i += 3)
                Store(&want[i], HueRangePixel(Load(&row[i]), centre, tables, weights));
            ASSERT_EQ(got, want) << red;
        }
    }
}

TEST_P(ToneRowsTest, EveryProductOfTheMixer) {
    Row tones;
    for (int i = 0; i < 256; ++i) tones.insert(tones.end(), 3, static_cast<std::uint8_t>(i));
    for (int weight = -10000; weight <= 10000; weight += weight < -400 || weight >= 400 ? 199 : 1) {
        Mixer mixer;
        mixer.red = MakeMixerChannel({weight, 0, 0});
        mixer.green = MakeMixerChannel({0, weight, 0});
        mixer.green.constant = weight < 0 ? 255 : -255;
        Row row = tones;
        MixerRow(row, mixer);
        for (int i = 0; i < 256; ++i) {
            // The quotient in integers: a half per cent never carries, but below 0 it lifts a whole hundred by one.
            const int product = i * weight;
            const int quotient = product > 0 ? product / 100 : -((-product - 1 + 100) / 100 - 1);
            const int value = product == 0 ? 0 : quotient;
            const std::size_t at = static_cast<std::size_t>(i) * 3;
            ASSERT_EQ(row[at + 2], ClampToByte(value)) << i << " x " << weight;
            ASSERT_EQ(row[at + 1], ClampToByte(value + mixer.green.constant)) << i << " x " << weight;
            ASSERT_EQ(row[at], i);
        }
    }
}

}  // namespace
}  // namespace kestrel::kernels
