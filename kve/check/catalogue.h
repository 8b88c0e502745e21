// What each code of a finding means: the sections of docs/findings.md, which is built in.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kve::companion {

// The text under the heading of the code; empty for an unknown one.
std::string_view explanation_of(std::string_view code);

// In the order of the document.
std::vector<std::string> all_codes();

// A code without an explanation is a mistake of the program: throws.
void require_explanation(std::string_view code);

}  // namespace kve::companion
