#include "platform/netname/seednet.h"

#include <gtest/gtest.h>

#include <string>

#include "support/log_capture.h"
#include "support/temp_file.h"

namespace velorix_test {
namespace {

class SeedNet : public testing::Test {
  protected:
    void TearDown() override { seednet_clear(); }

    static std::string name_of(const std::string& sta) {
        char net[SEEDNET_CODE_SIZE] = "";
        char code[SEEDNET_CODE_SIZE] = "";
        if (seed_net(sta.c_str(), net, code) < 0) return "unusable";
        return std::string(net) + "_" + code;
    }
};

TEST_F(SeedNet, UnknownStationHasNoNetworkAndItsOwnName) {
    EXPECT_EQ("XX_ANMO", name_of("ANMO"));
    EXPECT_EQ("XX_ABCDEFGHIJKLMNO", name_of("ABCDEFGHIJKLMNO"));
}

TEST_F(SeedNet, ANameMayTellItsNetwork) {
    EXPECT_EQ("IU_ANMO", name_of("IU_ANMO"));
    EXPECT_EQ("XA2012_A_B", name_of("XA2012_A_B"));
    for (const char* name : {"_ANMO", "IU_", "NINELONGX_A", "iu_anmo"})
        EXPECT_EQ(std::string("XX_") + name, name_of(name)) << "not a network in front";
    const TempFile table("IU IU_ANMO\nII XX_ANMO\nUS GE_X Y\n");
    EXPECT_EQ(3, seednet_load(table.c_str()));
    EXPECT_EQ("IU_ANMO", name_of("IU_ANMO")) << "a table made of such names";
    EXPECT_EQ("II_XX_ANMO", name_of("XX_ANMO")) << "another network in the table counts";
    EXPECT_EQ("US_Y", name_of("GE_X"));
}

TEST_F(SeedNet, UnusableNamesFail) {
    for (const char* name : {"", "A B", "ABCDEFGHIJKLMNOP", "A\n"}) {
        EXPECT_EQ("unusable", name_of(name)) << name;
    }
    char net[SEEDNET_CODE_SIZE];
    EXPECT_EQ(-1, seed_net(nullptr, net, net));
}

TEST_F(SeedNet, ReadsTextTables) {
    const TempFile table("# networks\nIU ANMO\n\nUS,GOL5,GOLD # renamed\r\nII ANMO\n");
    EXPECT_EQ(2, seednet_load(table.c_str()));
    EXPECT_EQ("IU_ANMO", name_of("ANMO")) << "the first entry stays";
    EXPECT_EQ("US_GOLD", name_of("GOL5"));
}

TEST_F(SeedNet, ReadsAffiliationTables) {
    for (const char* name : {"db.affiliation", "networks.txt"}) {
        const TempFile table(
            "IU       ANMO    2018-01-05 00:00 \nAK       A19K            1515110400\n\n"
            "AK       BMR\r\nUS       GOL    -\n",
            name);
        EXPECT_EQ(4, seednet_load(table.c_str())) << name;
        EXPECT_EQ("IU_ANMO", name_of("ANMO"));
        EXPECT_EQ("AK_A19K", name_of("A19K"));
        EXPECT_EQ("US_GOL", name_of("GOL"));
        seednet_clear();
    }
}

TEST_F(SeedNet, TakesTextInColumnsForText) {
    const TempFile table("IU       ANMO    ANM0\nAK       A19K    A19\n");
    EXPECT_EQ(2, seednet_load(table.c_str()));
    EXPECT_EQ("IU_ANM0", name_of("ANMO"));
}

TEST_F(SeedNet, BadLineLeavesTheTableAndIsNamed) {
    const TempFile good("IU ANMO\n");
    const TempFile bad("IU COLA\nIU\n", "bad.txt");
    seednet_load(good.c_str());
    LogCapture log;
    EXPECT_EQ(-1, seednet_load(bad.c_str()));
    EXPECT_NE(std::string::npos, log.text().find("bad.txt:2:"));
    EXPECT_EQ("XX_COLA", name_of("COLA"));
    EXPECT_EQ("IU_ANMO", name_of("ANMO"));
    EXPECT_EQ(-1, seednet_load("/nonexistent/table"));
}

}  // namespace
}  // namespace velorix_test
