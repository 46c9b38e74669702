// The lab recording under every setting of the toggles, against reports that were read through.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "irbmc/Command/Run.h"

namespace {

std::string contentOf(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    EXPECT_TRUE(in) << file;
    return {std::istreambuf_iterator<char>(in), {}};
}

struct Toggles {
    std::string gateway;
    std::string mplsTunnel;
};

class Lab : public testing::TestWithParam<Toggles> {};

TEST_P(Lab, GivesTheStoredReport) {
    const auto& [gateway, mplsTunnel] = GetParam();
    const Result result =
        replay(contentOf(IRBMC_EXAMPLES "/lab.jsonl"),
               {"--toggle", "OismGateway=" + gateway, "--toggle", "OismMplsTunnel=" + mplsTunnel});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    const std::string stored = std::string(IRBMC_STORED_REPORTS "/lab-gateway-") + gateway +
                               "-mplsTunnel-" + mplsTunnel + ".txt";
    EXPECT_TRUE(result.out == contentOf(stored))
        << "differs from " << stored << " (./dev golden renews it); irbmc replay gives:\n"
        << result.out;
}

INSTANTIATE_TEST_SUITE_P(UnderToggles, Lab,
                         testing::Values(Toggles{"on", "on"}, Toggles{"on", "off"},
                                         Toggles{"off", "on"}, Toggles{"off", "off"}),
                         [](const auto& toggles) {
                             return "Gateway_" + toggles.param.gateway + "_MplsTunnel_" +
                                    toggles.param.mplsTunnel;
                         });

}  // namespace
