// The ingest station: `watch` on the simulated card reader, and its desktop
// notifications (`--notify`) seen on a private session bus.
#include "controller/AppController.h"
#include "fsutil/DesktopNotification.h"
#include "support/CardFixtures.h"
#include "support/CliRun.h"
#include "support/EnvironmentGuard.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>

using namespace ferrydeck;
using namespace ferrydeck::test;

TEST(WatchCommand, ANewCardIsOffloadedVerifiedReformattedAndEjectedAndSigintStopsCleanly)
{
    TempDir dir;
    for (const char *folder : {"one", "two", "logs"})
        makeDirectory(dir / folder);
    const BuiltCard early = buildCard(CardKind::P2, dir / "media/EARLY");
    const auto watch =
        startWatch(dir, {"--dest", dir / "one", "--dest", dir / "two", "--verify", "contents", "--reformat", "--yes",
                         "--eject", "--rename", "bad;name", "--increment", "--log-dir", dir / "logs", "--json"});
    // The same card built aside keeps the bytes the reformat takes from the card.
    const BuiltCard reference = buildCard(CardKind::CanonEos, dir / "reference");
    const BuiltCard card = insertCard(CardKind::CanonEos, dir / "staging/CARD", dir / "media/CARD");
    ASSERT_TRUE(waitFor([&] {
        const std::string out = watch->out();
        return std::count(out.begin(), out.end(), '\n') >= 2 || !watch->running();
    }));
    ASSERT_TRUE(waitFor([&] { return exists(dir / "media/.ejected/CARD") || !watch->running(); })) << watch->err();
    watch->signal(SIGINT);
    const CliRun::Result result = watch->wait();
    ASSERT_EQ(result.exitCode, 0) << result.err;

    const auto jobs = jsonLines(result.out);
    ASSERT_EQ(jobs.size(), 2u);
    for (const auto &job : jobs) {
        EXPECT_EQ(job["status"], "Completed");
        EXPECT_EQ(job["source"], dir / "media/CARD");
        for (size_t i = 0; i < card.clips.size(); ++i) {
            const std::string relative = card.clips[i].substr(card.root.size());
            EXPECT_EQ(readFile(job["destination"].get<std::string>() + relative), readFile(reference.clips[i]))
                << relative;
        }
        EXPECT_NE(readFile(job["log"]).find("Offload Verified"), std::string::npos);
    }
    // Reformatted as a Canon card expects, then ejected; the early card was never taken.
    for (const std::string &clip : card.clips)
        EXPECT_FALSE(exists(dir / "media/.ejected/CARD" + clip.substr(card.root.size())));
    EXPECT_TRUE(exists(dir / "media/.ejected/CARD/DCIM"));
    EXPECT_TRUE(exists(dir / "media/.ejected/CARD/MISC"));
    for (const std::string &clip : early.clips)
        EXPECT_TRUE(exists(clip));
    EXPECT_FALSE(exists(dir / "one/EARLY"));
    EXPECT_NE(result.err.find("Reformat Warning: Ferrydeck will attempt to reformat drive"), std::string::npos)
        << result.err;
    EXPECT_NE(result.err.find("Rename Card Failure:\nbad;name-1 could not be renamed: Check for illegal characters"),
              std::string::npos)
        << result.err;
}

TEST(WatchCommand, WithoutYesTheReformatIsAbortedAndTheCardKeepsItsFiles)
{
    TempDir dir;
    makeDirectory(dir / "one");
    const auto watch = startWatch(dir, {"--dest", dir / "one", "--reformat"});
    const BuiltCard card = insertCard(CardKind::CanonEos, dir / "staging/CARD", dir / "media/CARD");
    ASSERT_TRUE(waitFor([&] {
        return watch->err().find("Error: Reformat attempt was aborted") != std::string::npos || !watch->running();
    })) << watch->err();
    watch->signal(SIGINT);
    EXPECT_EQ(watch->wait().exitCode, 0);
    for (const std::string &clip : card.clips)
        EXPECT_TRUE(exists(clip)) << clip;
}

namespace {

bool onPath(const std::string &program)
{
    const char *path = std::getenv("PATH");
    std::string folders = path ? path : "";
    for (size_t start = 0; start <= folders.size();) {
        const size_t end = std::min(folders.find(':', start), folders.size());
        if (::access((folders.substr(start, end - start) + "/" + program).c_str(), X_OK) == 0) return true;
        start = end + 1;
    }
    return false;
}

// dbus-run-session around dbus-monitor: a bus of our own, its address and
// the monitor's pid written to files, every Notify call in `log`.
class PrivateBus {
public:
    explicit PrivateBus(const TempDir &dir)
        : m_dir(dir)
    {
        const std::string script = "echo $$ > \"$1.pid\"; printf %s \"$DBUS_SESSION_BUS_ADDRESS\" > \"$1.tmp\"; "
                                   "mv \"$1.tmp\" \"$1\"; exec dbus-monitor --session \"$2\" > \"$3\"";
        const std::string match = "interface='org.freedesktop.Notifications',member='Notify'";
        const std::vector<std::string> args{"dbus-run-session", "--", "sh", "-c", script, "sh", dir / "address", match,
                                            dir / "monitor.log"};
        std::vector<char *> argv;
        for (const std::string &arg : args)
            argv.push_back(const_cast<char *>(arg.c_str()));
        argv.push_back(nullptr);
        if (::posix_spawnp(&m_pid, argv[0], nullptr, nullptr, argv.data(), environ) != 0) m_pid = -1;
    }
    ~PrivateBus()
    {
        if (m_pid < 0) return;
        // Ending the monitor ends the session, and dbus-run-session stops its bus.
        const std::string monitor = readFile(m_dir / "address.pid");
        if (!monitor.empty()) ::kill(std::stoi(monitor), SIGTERM);
        else ::kill(m_pid, SIGTERM);
        ::waitpid(m_pid, nullptr, 0);
    }
    PrivateBus(const PrivateBus &) = delete;
    PrivateBus &operator=(const PrivateBus &) = delete;

    std::string address() const
    {
        waitFor([this] { return exists(m_dir / "address"); }, std::chrono::seconds(10));
        return exists(m_dir / "address") ? readFile(m_dir / "address") : std::string();
    }
    std::string log() const { return exists(m_dir / "monitor.log") ? readFile(m_dir / "monitor.log") : ""; }

private:
    const TempDir &m_dir;
    pid_t m_pid = -1;
};

} // namespace

TEST(DesktopNotification, ACardsLastJobIsAnnouncedOnTheSessionBusWithItsCounts)
{
    if (!onPath("dbus-run-session") || !onPath("dbus-monitor") || !onPath("gdbus"))
        GTEST_SKIP() << "dbus-run-session, dbus-monitor or gdbus missing (packages dbus-bin, libglib2.0-bin)";
    TempDir dir, busDir;
    makeDirectory(dir / "one");
    makeDirectory(dir / "two");
    PrivateBus bus(busDir);
    const std::string address = bus.address();
    ASSERT_FALSE(address.empty()) << "the private bus did not start";
    // The monitor is subscribed once it has said hello on the bus.
    ASSERT_TRUE(waitFor([&] { return bus.log().find("NameAcquired") != std::string::npos; }));

    const auto watch = startWatch(dir, {"--dest", dir / "one", "--dest", dir / "two", "--notify"},
                                  {{"DBUS_SESSION_BUS_ADDRESS", address}});
    insertCard(CardKind::CanonEos, dir / "staging/CARD'S \"A\"", dir / "media/CARD'S \"A\"");
    const bool seen = waitFor([&] { return bus.log().find("member=Notify") != std::string::npos; });
    watch->signal(SIGINT);
    const CliRun::Result result = watch->wait();
    ASSERT_TRUE(seen) << result.err;
    EXPECT_EQ(result.exitCode, 0) << result.err;
    const std::string log = bus.log();
    // One notification for the card, not one per job; quotes in its name arrive whole.
    EXPECT_EQ(log.find("member=Notify"), log.rfind("member=Notify")) << log;
    EXPECT_NE(log.find("string \"Card CARD'S \"A\" offloaded\""), std::string::npos) << log;
    EXPECT_NE(log.find("string \"10 file copies verified, 0 failed; 2 of 2 jobs completed\""), std::string::npos)
        << log;
}

TEST(DesktopNotification, WithoutASessionBusNothingIsStartedAndNothingWaits)
{
    TempDir runtime;
    EnvironmentGuard address("DBUS_SESSION_BUS_ADDRESS", nullptr);
    EnvironmentGuard runtimeDir("XDG_RUNTIME_DIR", runtime.path().c_str());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(DesktopNotification::sessionBusAvailable());
    EXPECT_FALSE(DesktopNotification::send("Card A offloaded", "1 files verified"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST(DesktopNotification, AFailedCardSaysSoWithItsCounts)
{
    const auto [title, body] = AppController::cardNotificationText({"/media/CARD_B", 2, 1, 5, 3});
    EXPECT_EQ(title, "Card CARD_B: offload failed");
    EXPECT_EQ(body, "5 file copies verified, 3 failed; 1 of 2 jobs completed");
}
