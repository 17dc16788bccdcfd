#include "support/CliRun.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

using namespace ferrydeck::test;

namespace {

// The screen a terminal of `width` columns shows after `output`: enough of
// a terminal to see where the board's cursor moves and what it erases.
struct Screen {
    size_t width;
    std::vector<std::string> rows{std::string()};
    size_t row = 0, column = 0, widest = 0;

    void feed(const std::string &output)
    {
        for (size_t i = 0; i < output.size(); ++i) {
            const char c = output[i];
            if (c == '\r') {
                column = 0;
            } else if (c == '\n') {
                if (++row == rows.size()) rows.emplace_back();
            } else if (c == '\033' && i + 1 < output.size() && output[i + 1] == '[') {
                size_t end = i + 2;
                while (end < output.size() && std::isdigit(static_cast<unsigned char>(output[end])))
                    ++end;
                const size_t count = end > i + 2 ? std::stoul(output.substr(i + 2, end - i - 2)) : 1;
                const char command = end < output.size() ? output[end] : '\0';
                if (command == 'A') row -= std::min(row, count);
                if (command == 'K' || command == 'J') rows[row].resize(std::min(rows[row].size(), column));
                if (command == 'J') rows.resize(row + 1);
                i = end;
            } else if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) { // one column per code point
                if (column == width) {                                   // the terminal wraps a line that is too long
                    column = 0;
                    if (++row == rows.size()) rows.emplace_back();
                }
                rows[row].resize(std::max(rows[row].size(), column), ' ');
                rows[row].replace(column, std::min<size_t>(1, rows[row].size() - column), 1, c);
                widest = std::max(widest, ++column);
            } else {
                rows[row].push_back(c);
            }
        }
    }
};

// `ferrydeck-cli ARGS` on a pseudo-terminal of `width` columns; all it wrote.
std::string runOnTerminal(const std::vector<std::string> &arguments, const Environment &environment,
                          unsigned short width)
{
    struct winsize size {};
    size.ws_col = width;
    size.ws_row = 24;
    int master = -1;
    const pid_t pid = ::forkpty(&master, nullptr, nullptr, &size);
    if (pid == 0) {
        for (const auto &[name, value] : environment)
            ::setenv(name.c_str(), value.c_str(), 1);
        std::vector<char *> argv{const_cast<char *>(FERRYDECK_CLI_PATH)};
        for (const std::string &argument : arguments)
            argv.push_back(const_cast<char *>(argument.c_str()));
        argv.push_back(nullptr);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    std::string output;
    char buffer[4096];
    for (pollfd waiting{master, POLLIN, 0}; ::poll(&waiting, 1, 60000) > 0;) {
        const ssize_t n = ::read(master, buffer, sizeof buffer);
        if (n <= 0) break; // EIO once the child has closed the terminal
        output.append(buffer, static_cast<size_t>(n));
    }
    ::close(master);
    int status = 0;
    ::waitpid(pid, &status, 0);
    return output;
}

} // namespace

// On an 80-column terminal the board's lines never wrap, hostile names do
// not reach the terminal as escapes (diagnostics printed mid-run neither),
// and the summary replaces the board without leaving a stale line of it.
TEST(TerminalBoard, FitsEightyColumnsAndTheSummaryReplacesIt)
{
    TempDir dir;
    const std::string card = dir / "A_CARD_WITH_A_RATHER_LONG_NAME_001";
    writeSizedFile(card + "/CLIPS/A001.MOV", 4000000, 1);
    writeSizedFile(card + "/CLIPS/evil\033[2Jname.MOV", 2000000, 2);
    for (const char *disk : {"raid-one", "raid-two"})
        makeDirectory(dir / disk + "/shoot/day one/cards");
    Environment environment = faultEnvironment("slow", "*/cards/*");
    const std::string output = runOnTerminal({"offload", card, "--dest", dir / "raid-one/shoot/day one/cards", "--dest",
                                              dir / "raid-two/shoot/day one/cards", "--threads", "1"},
                                             environment, 80);
    ASSERT_NE(output.find(" left "), std::string::npos) << "no board was drawn:\n" << output;
    EXPECT_EQ(output.find("\033[2J"), std::string::npos) << "a file name reached the terminal as an escape";

    Screen screen{80};
    screen.feed(output);
    EXPECT_LE(screen.widest, 80u);
    size_t completed = 0;
    for (const std::string &line : screen.rows) {
        EXPECT_EQ(line.find(" left "), std::string::npos) << "stale board line: " << line;
        if (line.starts_with("Completed: ")) ++completed;
    }
    EXPECT_EQ(completed, 2u) << output;
    // Without a log option each job's log is kept in its copy folder.
    const std::string name = "A_CARD_WITH_A_RATHER_LONG_NAME_001";
    for (const char *disk : {"raid-one", "raid-two"})
        EXPECT_TRUE(exists(dir / disk + "/shoot/day one/cards/" + name + "/" + name + ".txt")) << disk;
}
