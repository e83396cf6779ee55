#include "platform/kvo/Settings.hpp"

#include <gtest/gtest.h>

#include "platform/kvo/Exception.hpp"
#include "support/TempDirectory.hpp"

namespace kvo {
namespace {

// A file's values reach the runs end to end; what those files do not show is
// the case of names, a value holding '=' and a repeated key.
TEST(Settings, NamesInAnyCaseValuesWithEqualsAndTheLastOfARepeatedKey) {
    const Settings settings = Settings::parse(
        "[kvormicrophone]\nGenerateRecording.value = false\n[ other ]\nempty =\nequation = a=b\n"
        "[KVORMICROPHONE]\ngeneraterecording.VALUE = true\n",
        "test.ini");
    EXPECT_EQ(settings.get("Kvormicrophone", "GenerateRecording.value"), "true");
    EXPECT_EQ(settings.get("other", "empty"), "");
    EXPECT_EQ(settings.get("other", "equation"), "a=b");
    // Absent, not empty.
    EXPECT_EQ(settings.get("other", "missing"), std::nullopt);
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

}  // namespace
}  // namespace kvo
