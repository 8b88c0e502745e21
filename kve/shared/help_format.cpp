#include "kve/shared/help_format.h"

#include <sstream>

namespace kve::companion {

namespace {

constexpr std::size_t kWidth = 79,
                      kTexts = 30;  // of a line; where what is said of an option begins

// Broken at blanks; lines that are indented stay.
std::string wrapped(const std::string& text, std::size_t width) {
    std::istringstream lines(text);
    std::string all;
    for (std::string line; std::getline(lines, line);) {
        if (!all.empty() || line.empty()) all += '\n';
        while (line.size() > width && line.front() != ' ') {
            const std::size_t blank = line.rfind(' ', width);
            if (blank == line.npos) break;
            all += line.substr(0, blank) + '\n';
            line.erase(0, blank + 1);
        }
        all += line;
    }
    return all;
}

std::string names_of(const std::set<CLI::Option*>& options) {
    std::string names;
    for (const CLI::Option* option : options)
        names += (names.empty() ? "" : ", ") + option->get_name();
    return names;
}

}  // namespace

HelpFormat::HelpFormat() {
    column_width(kTexts);
    label("SUBCOMMAND", "COMMAND");
}

std::string HelpFormat::make_footer(const CLI::App* app) const {
    return wrapped(app->get_footer(), kWidth) + "\n";
}

std::string HelpFormat::make_subcommand(const CLI::App* command) const {
    std::ostringstream out;
    CLI::detail::format_help(out, command->get_name(),
                             wrapped(command->get_description(), kWidth - kTexts), kTexts);
    return out.str();
}

// "TEXT:INT in [1 - 8]" is the type and what a check adds; of a check for one of several words
// these are the whole.
std::string HelpFormat::make_option_opts(const CLI::Option* option) const {
    if (!option->get_option_text().empty()) return " " + option->get_option_text();
    if (option->get_positional() || option->get_type_size() == 0) return {};
    std::string type = option->get_type_name();
    if (const std::size_t colon = type.find(':'); type.compare(colon + 1, 1, "{") == 0)
        type.erase(0, colon + 1);
    else if (type.find(" in ", std::min(colon, type.size())) != type.npos)
        type.erase(colon);
    return " " + type;
}

std::string HelpFormat::make_option_desc(const CLI::Option* option) const {
    std::string text = option->get_description();
    if (!option->get_needs().empty()) text += "; with " + names_of(option->get_needs());
    if (!option->get_excludes().empty()) text += "; not with " + names_of(option->get_excludes());
    return wrapped(text, kWidth - kTexts);
}

}  // namespace kve::companion
