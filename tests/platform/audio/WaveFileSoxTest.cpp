// The reader against files that sox writes in many formats, made at test time
// and compared with the 16-bit file they were converted from; libsndfile, when
// the build found it, reads every file as a second opinion.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "platform/audio/WaveFile.hpp"
#include "support/TempDirectory.hpp"

#if KVO_HAVE_SNDFILE
#include <sndfile.h>
#endif

namespace audio {
namespace {

using Samples = std::vector<std::int16_t>;

bool haveSox() {
    static const bool available = std::system("sox --version > /dev/null 2>&1") == 0;
    return available;
}

class WaveFileSox : public testing::Test {
protected:
    void SetUp() override {
        if (!haveSox()) {
            GTEST_SKIP() << "sox is not installed (Debian package sox); these checks need it";
        }
        // Stereo 44.1 kHz 16-bit: a tone on the left, full-band noise on the right.
        sox("-n -r 44100 -c 2 -b 16 " + shellPath("ref.wav") +
            " synth 0.05 sine 440 whitenoise gain -3");
        reference = load("ref.wav");
    }

    // A file of the test directory as a shell argument.
    std::string shellPath(const std::string& name) const { return "'" + dir.file(name) + "'"; }

    void sox(const std::string& arguments) {
        const std::string command = "sox -R -V1 " + arguments;
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
    }

    // Converts the reference with the given output options.
    WaveFile convert(const std::string& name, const std::string& options) {
        sox(shellPath("ref.wav") + " " + options + " " + shellPath(name));
        return load(name);
    }

    WaveFile load(const std::string& name) {
        WaveFile wave;
        EXPECT_TRUE(wave.loadFile(dir.file(name))) << wave.error();
        secondOpinion(name, wave);
        return wave;
    }

    void secondOpinion([[maybe_unused]] const std::string& name,
                       [[maybe_unused]] const WaveFile& wave) {
#if KVO_HAVE_SNDFILE
        SF_INFO info{};
        SNDFILE* const file = sf_open(dir.file(name).c_str(), SFM_READ, &info);
        ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
        EXPECT_EQ(info.channels, wave.format().nChannels) << name;
        EXPECT_EQ(info.samplerate, static_cast<int>(wave.format().nSamplesPerSec)) << name;
        ASSERT_EQ(info.frames, static_cast<sf_count_t>(wave.numBlocks())) << name;
        // Normalised doubles: all these files hold 16-bit content, so x 32768
        // they are exactly what the reader must give.
        std::vector<double> values(static_cast<std::size_t>(info.frames * info.channels));
        sf_command(file, SFC_SET_NORM_DOUBLE, nullptr, SF_TRUE);
        EXPECT_EQ(sf_readf_double(file, values.data(), info.frames), info.frames) << name;
        sf_close(file);
        for (std::size_t i = 0; i < values.size(); ++i) {
            ASSERT_EQ(static_cast<double>(wave.samples()[i]), values[i] * 32768.0)
                << name << " sample " << i;
        }
#endif
    }

    kvo::test::TempDirectory dir;
    WaveFile reference;
};

TEST_F(WaveFileSox, WiderIntegerAndFloatFormatsGiveBackTheSource) {
    ASSERT_EQ(reference.numBlocks(), 2205u);
    struct Case {
        std::string name, options;
        std::uint16_t tag, bits;
    };
    for (const Case& c :
         {Case{"s24.wav", "-b 24", 0xFFFE, 24}, Case{"s24plain.wav", "-t wavpcm -b 24", 1, 24},
          Case{"s32.wav", "-e signed-integer -b 32", 0xFFFE, 32},
          Case{"f32.wav", "-e floating-point -b 32", 3, 32},
          Case{"f64.wav", "-e floating-point -b 64", 3, 64}}) {
        const WaveFile wave = convert(c.name, c.options);
        EXPECT_EQ(wave.fileFormat().wFormatTag, c.tag) << c.name;
        EXPECT_EQ(wave.fileFormat().wBitsPerSample, c.bits) << c.name;
        EXPECT_EQ(wave.format(), reference.format()) << c.name;
        EXPECT_EQ(wave.samples(), reference.samples()) << c.name;
    }
}

TEST_F(WaveFileSox, MultichannelExtensibleKeepsTheChannelOrder) {
    sox("-M " + shellPath("ref.wav") + " " + shellPath("ref.wav") + " " + shellPath("ref.wav") +
        " " + shellPath("six.wav"));
    const WaveFile six = load("six.wav");
    ASSERT_EQ(six.format(), makePcmFormat(6, 44100, 16));
    ASSERT_EQ(six.numBlocks(), reference.numBlocks());
    for (std::size_t frame = 0; frame < six.numBlocks(); ++frame) {
        for (std::size_t channel = 0; channel < 6; ++channel) {
            ASSERT_EQ(six.samples()[frame * 6 + channel],
                      reference.samples()[frame * 2 + channel % 2])
                << "frame " << frame << " channel " << channel;
        }
    }
}

}  // namespace
}  // namespace audio
