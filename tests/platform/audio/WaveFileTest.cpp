#include "platform/audio/WaveFile.hpp"
#include "platform/audio/WaveFileReader.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "support/TempDirectory.hpp"

namespace audio {
namespace {

using Samples = std::vector<std::int16_t>;

std::string le(std::uint32_t value, int bytes) {
    std::string out;
    for (int i = 0; i < bytes; ++i) {
        out += static_cast<char>(value >> (8 * i));
    }
    return out;
}

template <typename T>
std::string raw(std::initializer_list<T> values) {
    std::string out;
    for (const T value : values) {
        out.append(reinterpret_cast<const char*>(&value), sizeof value);
    }
    return out;
}

// A chunk with its pad byte when odd-sized.
std::string chunk(const std::string& id, const std::string& payload, bool pad = true) {
    return id + le(static_cast<std::uint32_t>(payload.size()), 4) + payload +
           (pad && payload.size() % 2 ? std::string(1, '\0') : std::string());
}

std::string fmtChunk(std::uint16_t tag, std::uint16_t channels, std::uint32_t rate,
                     std::uint16_t bits, std::uint16_t blockAlign = 0) {
    if (blockAlign == 0) {
        blockAlign = static_cast<std::uint16_t>(bits / 8 * channels);
    }
    return chunk("fmt ", le(tag, 2) + le(channels, 2) + le(rate, 4) + le(rate * blockAlign, 4) +
                             le(blockAlign, 2) + le(bits, 2));
}

// WAVE_FORMAT_EXTENSIBLE with the sub-format GUID of `subTag`.
std::string extensibleChunk(std::uint16_t subTag, std::uint16_t channels, std::uint32_t rate,
                            std::uint16_t bits, std::uint16_t validBits) {
    const std::uint16_t blockAlign = static_cast<std::uint16_t>(bits / 8 * channels);
    const std::string guidTail("\x00\x00\x00\x00\x10\x00\x80\x00\x00\xAA\x00\x38\x9B\x71", 14);
    return chunk("fmt ", le(0xFFFE, 2) + le(channels, 2) + le(rate, 4) + le(rate * blockAlign, 4) +
                             le(blockAlign, 2) + le(bits, 2) + le(22, 2) + le(validBits, 2) +
                             le(3, 4) + le(subTag, 2) + guidTail);
}

std::string riff(const std::string& chunks) {
    return "RIFF" + le(static_cast<std::uint32_t>(chunks.size() + 4), 4) + "WAVE" + chunks;
}

WaveFile load(const std::string& bytes) {
    WaveFile wave;
    EXPECT_TRUE(wave.loadMemory(bytes.data(), bytes.size())) << wave.error();
    return wave;
}

struct ReadCase {
    std::string name, bytes;
    Samples samples;
};

// Every sample format reads as 16-bit PCM of the file's channels and rate: integers keep
// their top 16 bits (the bits below are cut, not rounded), floats are scaled, rounded half
// away from zero and clipped.
TEST(WaveFileFormats, EveryFormatReadsAsSixteenBitPcm) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<std::pair<std::string, ReadCase>> cases{
        {fmtChunk(1, 2, 44100, 16),
         {"pcm16", raw<std::int16_t>({1, -2, 32767, -32768}), {1, -2, 32767, -32768}}},
        {fmtChunk(1, 1, 8000, 8),
         {"unsigned 8", std::string("\x00\x80\xFF\x7F", 4), {-32768, 0, 32512, -256}}},
        {fmtChunk(1, 1, 48000, 24),
         {"pcm24", std::string("\xFF\x34\x12\x00\x00\x80\xFF\xFF\xFF", 9), {0x1234, -32768, -1}}},
        {fmtChunk(1, 2, 96000, 32),
         {"pcm32", raw<std::int32_t>({0x12345678, -65536}), {0x1234, -1}}},
        {fmtChunk(3, 1, 44100, 32),
         {"float32",
          raw<float>({0.5f, -1.0f, 1.0f, 2.0f, -3.0f, nan, 1.5f / 32768, -1.5f / 32768}),
          {16384, -32768, 32767, 32767, -32768, 0, 2, -1}}},
        {fmtChunk(3, 2, 44100, 64), {"float64", raw<double>({0.25, -0.25}), {8192, -8192}}},
        {extensibleChunk(1, 2, 48000, 24, 20),
         {"extensible pcm", std::string("\x00\x00\x40\x00\x00\xC0", 6), {0x4000, -0x4000}}},
        {extensibleChunk(3, 1, 48000, 32, 32), {"extensible float", raw<float>({-0.5f}), {-16384}}},
    };
    for (const auto& [fmt, c] : cases) {
        SCOPED_TRACE(c.name);
        const WaveFile wave = load(riff(fmt + chunk("data", c.bytes)));
        EXPECT_EQ(wave.samples(), c.samples);
        const WAVEFORMATEX& file = wave.fileFormat();
        EXPECT_EQ(file.wFormatTag,
                  static_cast<unsigned char>(fmt[8]) | static_cast<unsigned char>(fmt[9]) << 8);
        EXPECT_EQ(file.wBitsPerSample, static_cast<unsigned char>(fmt[22]));
        EXPECT_EQ(wave.format(), makePcmFormat(file.nChannels, file.nSamplesPerSec, 16));
        EXPECT_EQ(wave.numBlocks(), c.samples.size() / file.nChannels);
        EXPECT_EQ(wave.dataBytes(), c.samples.size() * 2);
    }
}

TEST(WaveFileLayout, OtherChunksPadBytesOrderAndPartialFramesAreHandled) {
    const std::string pcm16 = fmtChunk(1, 1, 8000, 16);
    const std::vector<ReadCase> cases{
        {"other chunks and pad bytes skipped",
         riff(chunk("LIST", "odd") + fmtChunk(1, 1, 8000, 8) + chunk("fact", le(3, 4)) +
              chunk("data", "\x80\x81\x7F") + chunk("smpl", "trailing")),
         {0, 256, -256}},
        {"data before fmt", riff(chunk("data", raw<std::int16_t>({7})) + pcm16), {7}},
        {"no final pad byte",
         riff(fmtChunk(1, 1, 8000, 8) + chunk("data", "\x80\x90\xA0", false)),
         {0, 0x1000, 0x2000}},
        {"partial frame dropped",
         riff(fmtChunk(1, 2, 8000, 16) + chunk("data", raw<std::int16_t>({1, 2, 3}))),
         {1, 2}},
    };
    for (const ReadCase& c : cases) {
        EXPECT_EQ(load(c.bytes).samples(), c.samples) << c.name;
    }
    // The RIFF size is not trusted.
    std::string bytes = riff(pcm16 + chunk("data", raw<std::int16_t>({3, 4})));
    for (const std::uint32_t size :
         {0u, 4u, 0xFFFFFFFFu, static_cast<std::uint32_t>(bytes.size())}) {
        bytes.replace(4, 4, le(size, 4));
        EXPECT_EQ(load(bytes).samples(), (Samples{3, 4})) << "riff size " << size;
    }
}

struct MalformedCase {
    std::string name, bytes, error;
};

std::vector<MalformedCase> malformedCases() {
    using Case = MalformedCase;
    const std::string pcm16 = fmtChunk(1, 2, 44100, 16);
    const std::string data = chunk("data", raw<std::int16_t>({1, 2}));
    const std::string valid = riff(pcm16 + data);
    const std::vector<Case> cases{
        {"empty", "", "too short"},
        {"truncated header", valid.substr(0, 11), "too short"},
        {"not riff", "RIFX" + valid.substr(4), "not a RIFF file"},
        {"not wave", valid.substr(0, 8) + "AVI " + valid.substr(12), "not 'WAVE'"},
        {"no fmt", riff(data), "no fmt chunk"},
        {"no data", riff(pcm16), "no data chunk"},
        {"data beyond the end", riff(pcm16 + "data" + le(0xFFFFFFF0, 4) + "abcd"),
         "'data' chunk at offset 36 declares 4294967280 bytes, but only 4 follow"},
        {"truncated data", valid.substr(0, valid.size() - 1),
         "declares 4 bytes, but only 3 follow"},
        {"chunk header cut", riff(pcm16 + "dat"), "file ends inside a chunk header"},
        {"short fmt", riff(chunk("fmt ", std::string(14, '\1')) + data), "shorter than 16"},
        {"zero channels", riff(fmtChunk(1, 0, 44100, 16, 2) + data), "zero channels"},
        {"too many channels", riff(fmtChunk(1, 300, 44100, 16) + data), "300 channels"},
        {"zero rate", riff(fmtChunk(1, 2, 0, 16) + data), "sample rate of 0 Hz"},
        {"absurd rate", riff(fmtChunk(1, 2, 4000000000u, 16) + data), "4000000000 Hz"},
        {"zero block align",
         riff(fmtChunk(1, 2, 44100, 16, 0xFFFF).replace(20, 2, le(0, 2)) + data),
         "block alignment of 0"},
        {"block align mismatch", riff(fmtChunk(1, 2, 44100, 16, 6) + data),
         "block alignment 6 does not fit 2 channels of 16 bits"},
        {"adpcm", riff(fmtChunk(2, 2, 44100, 16) + data), "unsupported format tag 0x0002"},
        {"12-bit", riff(fmtChunk(1, 1, 44100, 12, 2) + data), "unsupported 12-bit PCM"},
        {"16-bit float", riff(fmtChunk(3, 1, 44100, 16) + data), "unsupported 16-bit IEEE float"},
        {"short extensible", riff(fmtChunk(0xFFFE, 2, 44100, 16) + data), "lacks the 22 extension"},
        {"unknown sub-format",
         riff(extensibleChunk(1, 2, 44100, 16, 16).replace(8 + 24 + 4, 1, "\x01") + data),
         "unknown sub-format"},
    };
    return cases;
}

// From memory, from a file and through the partial reader alike; a failure
// drops what an earlier load held.
TEST(WaveFileErrors, MalformedOrMissingInputIsNamed) {
    kvo::test::TempDirectory dir;
    const std::string good =
        riff(fmtChunk(1, 1, 8000, 16) + chunk("data", raw<std::int16_t>({5, 6})));
    WaveFile wave;
    for (const MalformedCase& c : malformedCases()) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(wave.loadMemory(good.data(), good.size()));
        EXPECT_FALSE(wave.loadMemory(c.bytes.data(), c.bytes.size()));
        EXPECT_NE(wave.error().find(c.error), std::string::npos) << wave.error();
        EXPECT_FALSE(wave.isLoaded());
        EXPECT_TRUE(wave.samples().empty());
        EXPECT_EQ(wave.format(), WAVEFORMATEX{});

        EXPECT_FALSE(wave.loadFile(dir.write("bad.wav", c.bytes)));
        EXPECT_NE(wave.error().find(c.error), std::string::npos) << wave.error();
        EXPECT_NE(wave.error().find("bad.wav"), std::string::npos) << wave.error();
        WaveFileReader reader;
        EXPECT_FALSE(reader.open(dir.file("bad.wav"), WaveFile::kMaxFileBytes));
        EXPECT_NE(reader.error().find(c.error), std::string::npos) << reader.error();
    }
    EXPECT_FALSE(wave.loadFile(dir.file("missing.wav")));
    EXPECT_NE(wave.error().find("missing.wav"), std::string::npos) << wave.error();
}

TEST(WaveFileReaderParts, ReadsAnyRangeOfFramesBehindLongChunksAndNothingOutsideTheData) {
    // 24-bit stereo behind a chunk longer than the reader's window; frame i holds i and -i
    // in its top 16 bits.
    std::string data;
    for (std::int32_t i = 0; i < 40000; ++i) {
        data += le(0x7Fu, 1) + le(static_cast<std::uint16_t>(i), 2) + le(0x01u, 1) +
                le(static_cast<std::uint16_t>(-i), 2);
    }
    kvo::test::TempDirectory dir;
    const std::string path =
        dir.write("parts.wav", riff(chunk("LIST", std::string(9001, 'x')) +
                                    fmtChunk(1, 2, 48000, 24) + chunk("data", data)));
    WaveFileReader reader;
    ASSERT_TRUE(reader.open(path, WaveFile::kMaxFileBytes)) << reader.error();
    EXPECT_EQ(reader.frames(), 40000u);
    EXPECT_EQ(reader.channels(), 2u);
    EXPECT_EQ(reader.sampleRate(), 48000u);
    EXPECT_EQ(reader.fileFormat().wBitsPerSample, 24u);
    // Ranges inside one read, across the reader's pieces, and up to the last frame.
    for (const auto& [first, count] :
         {std::pair<std::size_t, std::size_t>{3, 4}, {10000, 25000}, {39990, 10}, {40000, 0}}) {
        Samples samples(count * 2, 77);
        ASSERT_TRUE(reader.read(first, count, samples.data())) << first << ": " << reader.error();
        for (std::size_t i = 0; i < count; ++i) {
            const auto frame = static_cast<std::int32_t>(first + i);
            ASSERT_EQ(samples[2 * i], static_cast<std::int16_t>(frame)) << first << " " << i;
            ASSERT_EQ(samples[2 * i + 1], static_cast<std::int16_t>(-frame)) << first << " " << i;
        }
    }
    Samples outside(4);
    EXPECT_FALSE(reader.read(39999, 2, outside.data()));
    EXPECT_FALSE(reader.read(40001, 0, outside.data()));
}

TEST(WaveFileReaderParts, AFileLargerThanTheLimitOrNotRegularIsRefusedUnread) {
    kvo::test::TempDirectory dir;
    const std::string path = dir.write(
        "small.wav", riff(fmtChunk(1, 1, 8000, 16) + chunk("data", raw<std::int16_t>({1, 2}))));
    WaveFile wave;
    ASSERT_TRUE(wave.loadFile(path)) << wave.error();
    EXPECT_EQ(wave.samples(), (Samples{1, 2}));
    WaveFileReader reader;
    EXPECT_FALSE(reader.open(path, 40));
    EXPECT_NE(reader.error().find("larger than 40 bytes"), std::string::npos) << reader.error();
    EXPECT_TRUE(reader.open(path, 48)) << reader.error();
    EXPECT_FALSE(reader.open(dir.path(), WaveFile::kMaxFileBytes));
    EXPECT_NE(reader.error().find("not a regular file"), std::string::npos) << reader.error();
}

#ifndef _WIN32
// Files that sox writes, compared with the 16-bit file they were converted from.
TEST(WaveFileSox, WiderFormatsAndSixChannelsGiveBackTheSourceInItsChannelOrder) {
    if (std::system("sox --version > /dev/null 2>&1") != 0) {
        GTEST_SKIP() << "sox is not installed (Debian package sox); this check needs it";
    }
    kvo::test::TempDirectory dir;
    const auto sox = [&](const std::string& arguments, const std::string& name,
                         const std::string& effects = "") {
        const std::string command =
            "sox -R -V1 " + arguments + " '" + dir.file(name) + "' " + effects;
        EXPECT_EQ(std::system(command.c_str()), 0) << command;
        WaveFile wave;
        EXPECT_TRUE(wave.loadFile(dir.file(name))) << wave.error();
        return wave;
    };
    // Stereo 44.1 kHz 16-bit: a tone on the left, full-band noise on the right.
    const WaveFile reference =
        sox("-n -r 44100 -c 2 -b 16", "ref.wav", "synth 0.05 sine 440 whitenoise gain -3");
    ASSERT_EQ(reference.numBlocks(), 2205u);
    const std::string source = "'" + dir.file("ref.wav") + "' ";
    struct Case {
        std::string name, options;
        std::uint16_t tag, bits;
    };
    for (const Case& c :
         {Case{"s24.wav", "-b 24", 0xFFFE, 24}, Case{"s24plain.wav", "-t wavpcm -b 24", 1, 24},
          Case{"s32.wav", "-e signed-integer -b 32", 0xFFFE, 32},
          Case{"f32.wav", "-e floating-point -b 32", 3, 32},
          Case{"f64.wav", "-e floating-point -b 64", 3, 64}}) {
        const WaveFile wave = sox(source + c.options, c.name);
        EXPECT_EQ(wave.fileFormat().wFormatTag, c.tag) << c.name;
        EXPECT_EQ(wave.fileFormat().wBitsPerSample, c.bits) << c.name;
        EXPECT_EQ(wave.format(), reference.format()) << c.name;
        EXPECT_EQ(wave.samples(), reference.samples()) << c.name;
    }
    const WaveFile six = sox("-M " + source + source + source, "six.wav");
    ASSERT_EQ(six.format(), makePcmFormat(6, 44100, 16));
    ASSERT_EQ(six.numBlocks(), reference.numBlocks());
    for (std::size_t i = 0; i < six.samples().size(); ++i) {
        ASSERT_EQ(six.samples()[i], reference.samples()[i / 6 * 2 + i % 6 % 2]) << "sample " << i;
    }
}
#endif

}  // namespace
}  // namespace audio
