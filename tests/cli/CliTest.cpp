#include "fsutil/Process.h"

#include <gtest/gtest.h>

using ferrydeck::Process;

namespace {
Process::Result cli(std::vector<std::string> args)
{
    args.insert(args.begin(), FERRYDECK_CLI_PATH);
    return Process::run(args, Process::Output::Capture);
}
} // namespace

TEST(Cli, HelpVersionAndUsageErrorsHaveStableExitCodes)
{
    const auto help = cli({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_NE(help.output.find("Usage:"), std::string::npos);
    const auto version = cli({"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_EQ(version.output.rfind("ferrydeck-cli ", 0), 0u);
    EXPECT_EQ(cli({"--no-such-flag"}).exitCode, 2);
    EXPECT_EQ(cli({"no-such-command"}).exitCode, 2);
}
