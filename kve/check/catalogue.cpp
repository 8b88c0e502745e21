#include "kve/check/catalogue.h"

#include <stdexcept>

namespace kve::companion {

// docs/findings.md, made by the build.
extern const char* const kFindingsDocument;

namespace {

constexpr std::string_view kHeading = "\n## ";

}  // namespace

std::string_view explanation_of(std::string_view code) {
    const std::string_view document = kFindingsDocument;
    const std::string heading = std::string(kHeading) + std::string(code) + "\n";
    const std::size_t at = document.find(heading);
    if (code.empty() || at == document.npos) return {};
    std::string_view text = document.substr(at + heading.size());
    text = text.substr(0, std::min(text.find("\n# "), text.find(kHeading)));
    text.remove_prefix(std::min(text.find_first_not_of('\n'), text.size()));
    return text.substr(0, text.find_last_not_of('\n') + 1);
}

std::vector<std::string> all_codes() {
    const std::string_view document = kFindingsDocument;
    std::vector<std::string> codes;
    for (std::size_t at = 0; (at = document.find(kHeading, at)) != document.npos;) {
        at += kHeading.size();
        codes.emplace_back(document.substr(at, document.find('\n', at) - at));
    }
    return codes;
}

void require_explanation(std::string_view code) {
    if (explanation_of(code).empty())
        throw std::logic_error("no explanation of the code " + std::string(code));
}

}  // namespace kve::companion
