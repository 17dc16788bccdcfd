// ferrydeck-cli verify: re-reads a folder against its ASC MHL history.
#include "cli/CliPaths.h"
#include "cli/CommandRegistry.h"

#include "proof/MhlFolderCheck.h"
#include "proof/MhlHistory.h"

#include <nlohmann/json.hpp>

#include <sys/stat.h>

#include <cstdio>
#include <iostream>
#include <memory>

namespace ferrydeck::cli {

namespace {

struct VerifyOptions {
    std::string folder;
    bool seal = false;
    bool json = false;
};

void printLine(const nlohmann::json &line)
{
    std::cout << line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << std::endl;
}

// A name with a line break must not forge a report line, nor an escape
// sequence drive the terminal.
std::string printable(const std::string &text)
{
    std::string result;
    for (const char c : text) {
        if (static_cast<unsigned char>(c) >= 0x20 && c != 0x7f) {
            result.push_back(c);
            continue;
        }
        char escaped[8];
        std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned char>(c));
        result += escaped;
    }
    return result;
}

std::string describe(const MhlFolderCheck::Item &item)
{
    const std::string method(hashMethodName(item.method));
    std::string text = std::string(outcomeName(item.outcome)) + ": " + printable(item.relativePath);
    if (item.outcome == MhlFolderCheck::Outcome::Changed) {
        text += " (" + method + " recorded " + item.recorded + ", found " + item.found + ")";
    } else if (!item.detail.empty()) {
        text += " (" + printable(item.detail) + ")";
    }
    return text;
}

int runVerify(const VerifyOptions &options)
{
    const std::string root = absolutePath(options.folder);
    struct stat info {};
    if (::stat(root.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        std::fprintf(stderr, "ferrydeck-cli: %s is not a folder\n", root.c_str());
        return kExitUsage;
    }
    if (!MhlHistory::exists(root)) {
        std::fprintf(stderr, "ferrydeck-cli: %s has no hash-list history (no ascmhl folder); nothing to verify\n",
                     root.c_str());
        return kExitUsage;
    }
    std::string error;
    const std::optional<MhlHistory> history = MhlHistory::load(root, &error);
    if (!history) {
        std::fprintf(stderr, "ferrydeck-cli: the history of %s cannot be read: %s\n", root.c_str(),
                     printable(error).c_str());
        return kExitFailed;
    }

    const MhlFolderCheck check = MhlFolderCheck::run(root, *history);
    size_t counts[6] = {};
    for (const MhlFolderCheck::Item &item : check.items) {
        ++counts[static_cast<size_t>(item.outcome)];
        if (item.outcome == MhlFolderCheck::Outcome::Matched) continue;
        if (options.json) {
            nlohmann::json line = {{"path", item.relativePath},
                                   {"status", outcomeName(item.outcome)},
                                   {"method", hashMethodName(item.method)}};
            if (!item.recorded.empty()) line["recorded"] = item.recorded;
            if (!item.found.empty()) line["found"] = item.found;
            if (!item.detail.empty()) line["detail"] = item.detail;
            printLine(line);
        } else {
            std::cout << describe(item) << std::endl;
        }
    }
    for (const std::string &problem : check.chainProblems) {
        if (options.json) {
            printLine({{"status", "chain"}, {"detail", problem}});
        } else {
            std::cout << "chain: " << printable(problem) << std::endl;
        }
    }

    std::optional<MhlGenerationWriter::Written> sealed;
    std::string sealError;
    if (options.seal) {
        sealed = check.seal(root, *history, &sealError);
        if (!sealed) std::fprintf(stderr, "ferrydeck-cli: no generation was added: %s\n", printable(sealError).c_str());
    }
    using Outcome = MhlFolderCheck::Outcome;
    const auto count = [&counts](Outcome outcome) { return counts[static_cast<size_t>(outcome)]; };
    if (options.json) {
        nlohmann::json summary = {{"folder", root},
                                  {"generations", history->generations().size()},
                                  {"matched", count(Outcome::Matched)},
                                  {"changed", count(Outcome::Changed)},
                                  {"missing", count(Outcome::Missing)},
                                  {"new", count(Outcome::New)},
                                  {"unreadable", count(Outcome::Unreadable) + count(Outcome::Invalid)},
                                  {"chainProblems", check.chainProblems.size()},
                                  {"allMatch", check.allMatch()}};
        if (sealed) summary["sealed"] = sealed->path;
        printLine(summary);
    } else {
        std::cout << count(Outcome::Matched) << " matched, " << count(Outcome::Changed) << " changed, "
                  << count(Outcome::Missing) << " missing, " << count(Outcome::New) << " new, "
                  << count(Outcome::Unreadable) + count(Outcome::Invalid) << " unreadable ("
                  << history->generations().size()
                  << (history->generations().size() == 1 ? " generation)" : " generations)") << std::endl;
        if (sealed) std::cout << "sealed: " << sealed->path << std::endl;
    }
    return check.allMatch() && (!options.seal || sealed) ? kExitOk : kExitFailed;
}

const RegisterCommand registration([](CLI::App &app, int &exitCode) {
    auto options = std::make_shared<VerifyOptions>();
    CLI::App *command = app.add_subcommand(
        "verify", "Re-read a folder against its ASC MHL history and list changed, missing and new files (exit 0 "
                  "when all match, 1 otherwise, 2 without a history)");
    command->add_option("DIR", options->folder, "The folder that holds the ascmhl history")->required();
    command->add_flag("--seal", options->seal,
                      "Append the next generation (in-place: verified, failed and new files) to the history");
    command->add_flag("--json", options->json, "One JSON object per reported file, then a summary object");
    command->callback([options, &exitCode] { exitCode = runVerify(*options); });
});

} // namespace

} // namespace ferrydeck::cli
