#include "ControllerFixture.h"

#include "controller/OffloadNamingScheme.h"

#include <ctime>

namespace ferrydeck::test {
namespace {

std::string today()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[16];
    std::strftime(text, sizeof text, "%m-%d-%Y", &local);
    return text;
}

using Naming = ControllerTest;

TEST_F(Naming, OffloadPathFollowsSchemePrefixAndSuffix)
{
    struct Case {
        NamingControls controls;
        bool prefix, suffix;
        std::string base; // relative to /Backup, "" for the destination itself
    };
    const std::vector<Case> cases{
        {{"Card Name", "", "A_", "_Z"}, true, false, "A_CARD1"},
        {{"Card Name", "", "A_", "_Z"}, true, true, "A_CARD1_Z"},
        {{"None", "", "A_", "_Z"}, true, true, ""},
        {{"Custom Volume Name", "", "", ""}, false, false, ""},
        {{"Custom Volume Name", "Shoot", "", "-b"}, false, true, "Shoot-b"},
        {{"Custom Volume Name", "../../etc", "", ""}, false, false, "..-..-etc"},
        {{"Custom Volume Name", "..", "", ""}, false, false, ""},
        {{"Consecutive Numbering", "", "D", ""}, true, false, "D07"},
        {{"Today's Date", "", "", ""}, false, false, today()},
        {{"no such title", "", "A_", "_Z"}, true, true, ""},
    };
    make();
    controller->configureStepper(7);
    for (const Case &c : cases) {
        view->naming = c.controls;
        controller->ferrydeckSettings().setAddPrefix(c.prefix);
        controller->ferrydeckSettings().setAddSuffix(c.suffix);
        EXPECT_EQ(controller->addNamingConventionToOffloadPath("/Backup", "/Volumes/CARD1"),
                  c.base.empty() ? "/Backup" : "/Backup/" + c.base)
            << c.controls.schemeTitle << " " << c.controls.customName;
    }
}

TEST_F(Naming, DateSchemesUseTheFolderDateAsFullDateTime)
{
    make();
    makeDirectory(dir / "CARD");
    for (const std::string title : {"Date Volume Created", "Date Volume Modified"}) {
        view->naming = {title, "", "", ""};
        const std::string base = controller->addNamingConventionToOffloadPath(dir / "dest", dir / "CARD");
        const std::string name = base.substr((dir / "dest/").size());
        // "YYYY-MM-DD HH:MM:SS +ZZZZ" of today.
        ASSERT_EQ(name.size(), 25u) << name;
        EXPECT_EQ(name.substr(5, 2) + "-" + name.substr(8, 2) + "-" + name.substr(0, 4), today());
    }
}

TEST_F(Naming, StepperClampsAndPadsAndPreviewFollowsScheme)
{
    make();
    const std::vector<std::pair<int, std::string>> steps{
        {9, "09"}, {10, "10"}, {0, "01"}, {-5, "01"}, {100000, "9999"}};
    for (const auto &[value, text] : steps) {
        controller->configureStepper(value);
        EXPECT_EQ(controller->textStepperCount(), text);
        EXPECT_EQ(view->shownNumber, text);
    }
    EXPECT_EQ(controller->ferrydeckSettings().valueConsecutiveNumbering(), 9999);

    controller->ferrydeckSettings().setAddPrefix(true);
    const std::vector<std::pair<std::string, std::string>> previews{
        {"Card Name", "P_\"Card Name\""},
        {"Date Volume Created", "P_\"Date Created\""},
        {"Date Volume Modified", "P_\"Date Modified\""},
        {"Today's Date", "P_" + today()},
        {"Consecutive Numbering", "P_9999"},
        {"None", ""},
        {"???", ""},
    };
    for (const auto &[title, preview] : previews) {
        view->naming = {title, "", "P_", ""};
        controller->configureFullNamingSchemeTextBox();
        EXPECT_EQ(view->preview, preview) << title;
    }
    EXPECT_EQ(controller->listNamingSchemeOptions(),
              (std::vector<std::string>{"Custom Volume Name", "Consecutive Numbering", "Card Name", "Today's Date",
                                        "Date Volume Created", "Date Volume Modified", "None"}));
}

} // namespace
} // namespace ferrydeck::test
