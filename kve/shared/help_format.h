// How --help lays out its text.
#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace kve::companion {

// Lines that a terminal of 80 columns shows whole, and an option without the words of its checks.
class HelpFormat : public CLI::Formatter {
 public:
    HelpFormat();

    std::string make_footer(const CLI::App* app) const override;
    std::string make_subcommand(const CLI::App* command) const override;
    std::string make_option_opts(const CLI::Option* option) const override;
    std::string make_option_desc(const CLI::Option* option) const override;
};

}  // namespace kve::companion
