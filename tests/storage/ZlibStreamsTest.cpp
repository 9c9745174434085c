#include <gtest/gtest.h>
#include <zlib.h>

#include <random>

#include "kestrel/storage/QvDeflatingWriter.h"
#include "kestrel/storage/QvError.h"
#include "kestrel/storage/QvInflatingReader.h"
#include "tests/storage/MemoryStream.h"

namespace kestrel {
namespace {

using test::MemoryStream;

std::string Noise(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    std::string text(size, 0);
    for (char& c : text) c = static_cast<char>(random() % 7 ? 'a' : random());
    return text;
}

/// zlib's own one-call form.
std::string Compressed(const std::string& text) {
    uLongf size = compressBound(text.size());
    std::string out(size, 0);
    compress(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(text.data()), text.size());
    out.resize(size);
    return out;
}

std::string Inflated(MemoryStream& stream, std::size_t chunk) {
    QvInflatingReader reader(stream);
    std::string text, buffer(chunk, 0);
    for (std::size_t got; (got = reader.Read(buffer.data(), chunk)) > 0;) text.append(buffer, 0, got);
    EXPECT_EQ(reader.Tell(), static_cast<std::int64_t>(text.size()));
    EXPECT_EQ(reader.Read(buffer.data(), chunk), 0u);
    return text;
}

int CodeOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const QvStreamException& error) {
        EXPECT_STREQ(error.what(), "Zlib-Fehler");
        return error.Code();
    }
    return 0;
}

TEST(ZlibStreams, PlainZlibOfTheDefaultLevelWhateverTheBuffer) {
    for (const std::size_t size : {0u, 1u, 99u, 100u, 101u, 70000u})
        for (const std::size_t buffer : {1u, 100u, 4096u}) {
            const std::string text = Noise(size, 5);
            MemoryStream stream;
            {
                QvDeflatingWriter writer(stream, buffer);
                for (std::size_t at = 0; at < size; at += 777)
                    EXPECT_EQ(writer.Write(text.data() + at, std::min<std::size_t>(777, size - at)),
                              std::min<std::size_t>(777, size - at));
                EXPECT_EQ(writer.Tell(), static_cast<std::int64_t>(size));
            }
            EXPECT_EQ(stream.bytes, Compressed(text)) << size << " by " << buffer;
            EXPECT_LE(stream.mostWritten, buffer);
            for (const std::size_t chunk : {1u, 100u, 100000u}) {
                stream.at = 0;
                EXPECT_EQ(Inflated(stream, chunk), text);
                EXPECT_LE(stream.mostRead, 100u);
            }
        }
}

TEST(ZlibStreams, DamageEndsTheReading) {
    const std::string text = Noise(3000, 6);
    const std::string whole = Compressed(text);
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        MemoryStream stream(whole.substr(0, length));
        QvInflatingReader reader(stream);
        std::string out(5000, 0);
        const std::size_t got = reader.Read(out.data(), out.size());
        EXPECT_EQ(out.compare(0, got, text, 0, got), 0);
        EXPECT_EQ(reader.HasFailed(), length < whole.size()) << length;
        EXPECT_EQ(reader.Read(out.data(), 1), 0u);
    }
    MemoryStream noZlib("this was never compressed");
    EXPECT_EQ(Inflated(noZlib, 10), "");
}

TEST(ZlibStreams, FailuresHaveTheirCodes) {
    MemoryStream full;
    full.room = 300;
    EXPECT_EQ(CodeOf([&] {
                  QvDeflatingWriter writer(full);
                  for (unsigned i = 0; i < 1000; ++i) writer.Write(Noise(1000, i).data(), 1000);
              }),
              kZlibDeflate);
    EXPECT_EQ(full.bytes.size(), 300u) << "nothing follows the failure";
    MemoryStream tight;
    tight.room = 4;
    EXPECT_EQ(CodeOf([&] { QvDeflatingWriter writer(tight); }), 0) << "a destructor does not throw";
    EXPECT_TRUE(tight.HasFailed());
    MemoryStream stream;
    EXPECT_EQ(CodeOf([&] {
                  QvDeflatingWriter writer(stream);
                  writer.End();
                  writer.End();
              }),
              kZlibState);
    EXPECT_EQ(CodeOf([&] {
                  QvInflatingReader reader(stream);
                  reader.End();
                  reader.End();
              }),
              kZlibState);
}

TEST(ZlibStreams, CopyingStopsAtTheCountOrTheEnd) {
    const std::string text = Noise(1050, 9);
    for (const auto& [count, want] : {std::pair{0, 0}, {1, 1}, {100, 100}, {1049, 1049}, {5000, 1050}}) {
        MemoryStream from(text), to;
        EXPECT_EQ(CopyBytes(from, to, count), want);
        EXPECT_EQ(to.bytes, text.substr(0, static_cast<std::size_t>(want)));
        EXPECT_LE(from.mostRead, 100u);
    }
    MemoryStream from(text), to;
    to.room = 250;
    EXPECT_EQ(CopyBytes(from, to, 1050), 250);
}

}  // namespace
}  // namespace kestrel
