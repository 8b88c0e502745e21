// kve explain CODE: what a finding of kve check means.
#include <fmt/format.h>

#include "kve/check/catalogue.h"
#include "kve/check/directive_text.h"
#include "kve/shared/commands.h"
#include "kve/shared/failure.h"
#include "kve/shared/output.h"

namespace kve::companion {

namespace {

int run_explain(const std::string& code) {
    const std::string_view text = explanation_of(code);
    if (text.empty()) {
        const std::string similar = most_similar(code, all_codes());
        throw Failure(kUsage,
                      fmt::format("there is no code {}{}", code,
                                  similar.empty() ? "" : "; did you mean " + similar + "?"));
    }
    Output out("");
    out.put(fmt::format("{}\n\n{}\n", code, text));
    out.finish();
    return kGood;
}

int list_codes() {
    Output out("");
    for (const std::string& code : all_codes()) out.put(code + "\n");
    out.finish();
    return kGood;
}

}  // namespace

Command add_explain(CLI::App& app) {
    auto code = std::make_shared<std::string>();
    CLI::App* command = app.add_subcommand("explain", "what a finding of kve check means");
    command->add_option("CODE", *code,
                        "the word in brackets behind a finding; all of them without it");
    command->footer("Example: kve explain effect-count");
    return [code] { return code->empty() ? list_codes() : run_explain(*code); };
}

}  // namespace kve::companion
