// The page of messages knows every line that the engine logs.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>

#include "support/temp_file.h"

namespace velorix_test {
namespace {

TEST(ErrorPage, HoldsEveryMessageOfTheEngine) {
    const std::string page = read_file(VELORIX_SOURCE_DIR "/docs/errors.md");
    const std::regex message(R"re("((?:velorix_|find_cluster|get_station)\w*:[^"\n]*\.)\\n")re");
    int messages = 0;
    for (const auto& file :
         std::filesystem::directory_iterator(VELORIX_SOURCE_DIR "/lib/rt/libvelorix/grsubs")) {
        const std::string text = read_file(file.path().string());
        const std::sregex_iterator found(text.begin(), text.end(), message);
        for (auto it = found; it != std::sregex_iterator(); ++it, ++messages) {
            EXPECT_NE(page.find('`' + (*it)[1].str() + '`'), std::string::npos)
                << file.path().filename() << ": " << (*it)[1];
        }
    }
    EXPECT_GT(messages, 50) << "the search itself no longer finds them";
}

}  // namespace
}  // namespace velorix_test
