/*
 * What the subcommands share: how they hook into the command line, and how
 * they fail.
 */
#pragma once

#include <functional>
#include <utility>

#include <CLI/CLI.hpp>
#include <fmt/core.h>

namespace tamo::tool {

// Set by the subcommand the command line chose; returns the exit status.
using Runner = std::function<int()>;

void addSessionCommand(CLI::App& app, Runner& runner);
void addTagsCommand(CLI::App& app, Runner& runner);
void addMetaCommand(CLI::App& app, Runner& runner);
void addRaw2PngCommand(CLI::App& app, Runner& runner);

// Ends a command: one line on standard error, the given status: 1 for a
// refusal, 2 for trouble.
template <typename... Args>
int failWith(int status, fmt::format_string<Args...> format, Args&&... args)
{
    fmt::print(stderr, "tamo: {}\n", fmt::format(format, std::forward<Args>(args)...));
    return status;
}

// The same with status 1.
template <typename... Args>
int fail(fmt::format_string<Args...> format, Args&&... args)
{
    return failWith(1, format, std::forward<Args>(args)...);
}

// A command given without its subcommand: its help on standard error, and
// the status of a usage error.
inline int usage(const CLI::App& command)
{
    fmt::print(stderr, "{}", command.help());
    return 2;
}

} // namespace tamo::tool
