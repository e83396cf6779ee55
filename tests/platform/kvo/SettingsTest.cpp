#include "platform/kvo/Settings.hpp"

#include <gtest/gtest.h>

#include "platform/kvo/Exception.hpp"
#include "platform/kvo/Resource.hpp"
#include "support/TempDirectory.hpp"

namespace kvo {
namespace {

TEST(Settings, ReadsSectionsKeysAndValuesTrimmedAndWithoutRegardToCase) {
    const Settings settings = Settings::parse(
        "; a comment\n"
        "\n"
        "[kvormicrophone]\n"
        "  GenerateRecording.value =  true  \r\n"
        "FrequencyAnalysisWaveFile.value=440.wav\n"
        "# another comment\n"
        "[ other ]\n"
        "empty =\n"
        "equation = a=b\n",
        "test.ini");
    EXPECT_EQ(settings.get("kvormicrophone", "GenerateRecording.value"), "true");
    EXPECT_EQ(settings.get("KVORMICROPHONE", "generaterecording.VALUE"), "true");
    EXPECT_EQ(settings.get("kvormicrophone", "FrequencyAnalysisWaveFile.value"), "440.wav");
    EXPECT_EQ(settings.get("other", "empty"), "");
    EXPECT_EQ(settings.get("other", "equation"), "a=b");
    // Absent, not empty.
    EXPECT_EQ(settings.get("missing", "empty"), std::nullopt);
    EXPECT_EQ(settings.get("other", "missing"), std::nullopt);
}

TEST(Settings, LaterValuesReplaceEarlierOnes) {
    Settings settings = Settings::parse("[a]\nx=1\n[A]\nX=2\n", "test.ini");
    EXPECT_EQ(settings.get("a", "x"), "2");
    settings.merge(Settings::parse("[a]\nx=3\ny=4\n", "more.ini"));
    EXPECT_EQ(settings.get("a", "x"), "3");
    EXPECT_EQ(settings.get("a", "y"), "4");
}

TEST(Settings, MalformedLinesAreClearErrorsNamingFileAndLine) {
    struct Case {
        const char* text;
        const char* message;
    };
    for (const Case c :
         {Case{"[a]\nno equals sign\n", "test.ini:2: expected 'key = value' or '[section]'"},
          Case{"[a\nx=1\n", "test.ini:1: section header without a closing ']'"},
          Case{"[ ]\n", "test.ini:1: empty section name"},
          Case{"[a]\n\n = 5\n", "test.ini:3: a value without a key"},
          Case{"x=1\n", "test.ini:1: key 'x' before any [section]"},
          // A line that is not a key, or a key too long or unprintable to be
          // one a person typed, is never repeated: the file may be anyone's.
          Case{"root:$6$salt$hash:19000:0:99999:7:::\n",
               "test.ini:1: expected 'key = value' or '[section]'"},
          Case{"secret\x01key=1\n", "test.ini:1: key before any [section]"},
          Case{"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa=1\n",
               "test.ini:1: key before any [section]"}}) {
        try {
            Settings::parse(c.text, "test.ini");
            ADD_FAILURE() << "accepted: " << c.text;
        } catch (const Exception& e) {
            EXPECT_EQ(e.getMessage(), c.message);
        }
    }
}

TEST(Settings, LoadingAMissingFileNamesIt) {
    test::TempDirectory dir;
    EXPECT_THROW(Settings::load(dir.file("absent.ini")), Exception);
    const std::string path = dir.write("kvo.ini", "[kvormicrophone]\nGenerateRecording.value=1\n");
    EXPECT_EQ(Settings::load(path).get("kvormicrophone", "GenerateRecording.value"), "1");
}

TEST(Settings, LoadingRefusesAFileAboveTheLimit) {
    test::TempDirectory dir;
    const std::string big = dir.write("big.ini", std::string(Settings::kMaxFileBytes + 1, ';'));
    try {
        Settings::load(big);
        ADD_FAILURE() << "a file above the limit was loaded";
    } catch (const Exception& e) {
        EXPECT_EQ(e.getMessage(), "cannot read the settings file " + big + ": it is larger than " +
                                      std::to_string(Settings::kMaxFileBytes) + " bytes");
    }
    EXPECT_NO_THROW(
        Settings::load(dir.write("limit.ini", std::string(Settings::kMaxFileBytes, ';'))));
}

TEST(Resource, OverridesSplitTheSectionAtTheFirstDot) {
    Resource::setSettings(
        Settings::parse("[kvormicrophone]\nGenerateRecording.value=false\n", "test.ini"));
    ASSERT_TRUE(Resource::applyOverride("kvormicrophone.GenerateRecording.value=true"));
    ASSERT_TRUE(Resource::applyOverride(
        "kvormicrophone.FrequencyAnalysisWaveFile.value=C:\\logs\\440.wav"));
    String value;
    ASSERT_TRUE(Resource::getSetting("kvormicrophone", "GenerateRecording.value", value));
    EXPECT_EQ(value, "true");
    ASSERT_TRUE(Resource::getSetting("kvormicrophone", "FrequencyAnalysisWaveFile.value", value));
    EXPECT_EQ(value, "C:\\logs\\440.wav");

    value = "untouched";
    EXPECT_FALSE(Resource::getSetting("kvormicrophone", "Missing", value));
    EXPECT_EQ(value, "untouched");
    Resource::setSettings({});
}

TEST(Resource, MalformedOverridesChangeNothing) {
    Resource::setSettings({});
    for (const char* bad :
         {"novalue", "nodot=1", ".key=1", "section.=1", "section.key", " .key=1"}) {
        EXPECT_FALSE(Resource::applyOverride(bad)) << bad;
    }
    String value;
    EXPECT_FALSE(Resource::getSetting("section", "key", value));
}

}  // namespace
}  // namespace kvo
