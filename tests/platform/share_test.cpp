#include "platform/share/share.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/environment.h"

namespace {

using velorix_test::ScopedEnvironment;

TEST(Share, TheBuildTreeHasTheModels) {
    const ScopedEnvironment unset("VELORIX_SHARE", nullptr);
    const std::filesystem::path folder = velorix_share_folder();
    EXPECT_EQ(folder, std::filesystem::path(VELORIX_BIN_DIR).parent_path() / "share/velorix");
    EXPECT_TRUE(std::filesystem::is_regular_file(folder / "models/ak135.tvel"));
}

TEST(Share, TheEnvironmentComesFirstUnlessItIsEmpty) {
    const ScopedEnvironment given("VELORIX_SHARE", "/somewhere/else");
    EXPECT_STREQ(velorix_share_folder(), "/somewhere/else");
    const ScopedEnvironment empty("VELORIX_SHARE", "");
    EXPECT_STRNE(velorix_share_folder(), "");
}

}  // namespace
