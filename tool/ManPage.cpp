// SPDX-License-Identifier: Apache-2.0

#include "tool/ManPage.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "modem/Roff.h"
#include "tool/Command.h"
#include "tool/CommandLine.h"
#include "tool/Completion.h"

namespace velo::tool {

namespace {

constexpr const char* kDescription =
    R"(manages the data profiles of a modem through the libvelo library.
Without \fB\-\-modem\fR every command works on an embedded modem of its own, which starts and ends with
it.
.PP
Values are given and shown in words.
Results go to the standard output, errors and remarks to the standard error.
A one-shot command drops its keys when it ends, and with them the profiles that are not persistent; in a
shell or a script keys live on.
)";

constexpr const char* kShell = R"(.SH SHELL AND SCRIPTS
Within
.B velo shell
and
.B velo run
a line is a command without the word velo.
Words may be quoted with '...', "..." or a backslash; # begins a comment.
A command that yields a key names it: k1, k2, ... or a name of your choice.
The options of a line count for that line; \fB\-\-modem\fR, \fB\-\-instance\fR and \fB\-\-log\fR are given
where the shell or the script is started.
With \fB\-\-json\fR the results of all lines are one array.
.PP
An error in a script is reported with the name of the file and the number of the line.
)";

constexpr const char* kEnd = R"(.SH EXIT STATUS
.TP
.B 0
Done.
.TP
.B 1
The operation failed.
.TP
.B 2
The command line or a file is wrong.
.PP
A script ends with the status of the command that failed; a shell that reads no terminal ends with that of
its last command.
.SH ENVIRONMENT
.TP
.B DIAG_LOG
The file to which \fB\-\-log diag\fR appends the library's log.
.TP
.B HOME
Where the shell keeps its history; without it there is none.
.TP
.B NO_COLOR
When it is set and not empty, nothing is coloured.
.TP
.B TMPDIR
Where the socket of the embedded modem is made.
.SH FILES
.TP
.I ~/.velo_history
The lines typed in the shell, but for those with a password.
)";

/// An option's names and what it takes; words are set like names, placeholders apart from them.
/// Long lists may break after each word.
std::string label(const CLI::Option& option) {
    std::string text = roff::bold(option.get_name(false, true));
    if (!takesValue(option)) {
        return text;
    }
    std::string type = roff::escaped(option.get_type_name());
    for (std::size_t at = type.find('|'); at != std::string::npos; at = type.find('|', at + 3)) {
        type.replace(at, 1, "|\\:");
    }
    return text + " \\fI" + type + "\\fR";
}

std::string argumentName(const CLI::Option& argument) {
    const Completable takes = Completable::of(argument);
    std::string name = takes.kind == Completable::Kind::Words
                           ? roff::bold(argument.get_type_name())
                           : "\\fI" + argument.get_name(true) + "\\fR";
    if (argument.get_items_expected_max() > 1) {
        name += " ...";
    }
    return argument.get_required() ? name : "[" + name + "]";
}

std::string synopsis(const CLI::App& app) {
    std::string text = roff::bold("velo " + app.get_name());
    for (const CLI::Option* argument : argumentsOf(app)) {
        text += " " + argumentName(*argument);
    }
    return text;
}

using Groups = std::vector<std::pair<std::string, std::string>>;

/// The options of a parser, help left out: for each group its name and its text.
Groups optionGroups(const CLI::App& app) {
    Groups groups;
    for (const CLI::Option* option : optionsOf(app)) {
        if (option == app.get_help_ptr()) {
            continue;
        }
        const std::string& name = option->get_group();
        auto group = std::find_if(groups.begin(), groups.end(),
                                  [&](const auto& known) { return known.first == name; });
        if (group == groups.end()) {
            group = groups.insert(groups.end(), {name, ""});
        }
        group->second += roff::paragraph(label(*option), option->get_description());
    }
    return groups;
}

/// Groups of options that several commands have in common: they are described once, in a section of
/// their own. The value is how many commands have them.
std::map<std::pair<std::string, std::string>, int> countGroups(const CommandLine& line) {
    std::map<std::pair<std::string, std::string>, int> counts;
    for (const Command& command : commands()) {
        for (const auto& group : optionGroups(*line.find(command.name))) {
            ++counts[group];
        }
    }
    return counts;
}

std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](char letter) {
        return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
    });
    return text;
}

}  // namespace

std::string manPage(const CommandLine& line) {
    const auto counts = countGroups(line);
    const auto isShared = [&counts](const std::pair<std::string, std::string>& group) {
        return counts.at(group) > 1 && group.first != "Options";
    };
    std::string page =
        ".TH VELO 1 \"\" \"velo " VELO_VERSION
        "\" \"User Commands\"\n.ad l\n.nh\n.SH NAME\nvelo \\- manage the data profiles of a modem\n"
        ".SH SYNOPSIS\n.B velo\n[\\fIOPTIONS\\fR] \\fICOMMAND\\fR [\\fIARGUMENTS\\fR]\n"
        ".SH DESCRIPTION\n.B velo\n";
    page += kDescription;
    page += ".SH COMMANDS\n";
    for (const Command& command : commands()) {
        const CLI::App& app = *line.find(command.name);
        page += ".SS " + command.name + "\n" + synopsis(app) + "\n.PP\n" +
                roff::escaped(command.summary) + ".\n";
        for (const CLI::Option* argument : argumentsOf(app)) {
            page += roff::paragraph(argumentName(*argument), argument->get_description());
        }
        std::string shared;
        for (const auto& group : optionGroups(app)) {
            if (isShared(group)) {
                shared += ".PP\nThe options under \\fB" + roff::escaped(upperCase(group.first)) +
                          "\\fR apply.\n";
            } else {
                page += group.second;
            }
        }
        page += shared + ".PP\nExample:\n.PP\n.RS\n.nf\n" + roff::escaped(command.example) +
                "\n.fi\n.RE\n";
    }
    for (const auto& [group, count] : counts) {
        if (isShared(group)) {
            page += ".SH " + roff::escaped(upperCase(group.first)) + "\n" + group.second;
        }
    }
    page += ".SH OPTIONS OF EVERY COMMAND\n";
    for (const auto& group : optionGroups(line.app())) {
        page += group.second;
    }
    return page + kShell + kEnd;
}

}  // namespace velo::tool
