#include "fsutil/Process.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

using ferrydeck::Process;
using namespace ferrydeck::test;

// Where the command line refuses what the window would refuse with an alert,
// its own line comes first and the window's title and message follow.
TEST(CliAlertLines, SourceThatHoldsADestinationPrintsTheWindowsAlert)
{
    TempDir dir;
    writeFile(dir / "card/A.MOV", "a");
    makeDirectory(dir / "card/inner");
    {
        const std::string destination = dir / "card/inner";
        const auto result = Process::run({FERRYDECK_CLI_PATH, "offload", dir / "card", "--dest", destination},
                                         Process::Output::CaptureAll);
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.output, "ferrydeck-cli: destination " + destination +
                                     " lies inside a source\n"
                                     "Error: Directory could not be added for the following reason:\n"
                                     "Directory " +
                                     dir / "card" +
                                     " is listed as a offload destination.  A directory cannot be both a source and "
                                     "a destination.\nPlease correct the above error & try again\n");
    }
}
