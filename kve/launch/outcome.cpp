#include "kve/launch/outcome.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "directives/catalogue.h"
#include "kve/files/listing_words.h"
#include "kve/files/run_folder.h"
#include "kve/report/messages.h"
#include "kve/shared/noun.h"

namespace kve::companion {

namespace fs = std::filesystem;
using nlohmann::json;
using nlohmann::ordered_json;

namespace {

std::string time_text(std::time_t seconds) {
    return fmt::format("{:%Y-%m-%dT%H:%M:%SZ}", fmt::gmtime(seconds));
}

ordered_json describe_inputs(const std::vector<Input>& inputs) {
    ordered_json all = ordered_json::array();
    for (const Input& input : inputs) {
        ordered_json one{{"name", input.name}, {"path", input.path}};
        one["bytes"] = input.is_there ? ordered_json(input.bytes) : ordered_json();
        one["modified"] = input.is_there ? ordered_json(time_text(input.modified.tv_sec)) : nullptr;
        one["sha256"] = input.sha256.empty() ? ordered_json() : ordered_json(input.sha256);
        if (input.has_changed) one["changed"] = true;
        all.push_back(std::move(one));
    }
    return all;
}

ordered_json describe_traits(const RunFolder& run, const ListedData& figures) {
    ordered_json all = ordered_json::array();
    for (int32_t i = 1; i <= run.run().nt; ++i) {
        const Model& m = run.trait(i);
        ordered_json trait{{"name", m.trait_name.view()}};
        if (const auto k = static_cast<std::size_t>(i) - 1; k < figures.traits.size()) {
            const TraitRecords& records = figures.traits[k];
            trait["used"] = records.used;
            trait["no_value"] = figures.records - records.used - records.dropped;
            trait["dropped"] = records.dropped;
        }
        trait["fixed_effects"] = ordered_json::array();
        for (int32_t j = 1; j <= m.n_fixed; ++j)
            trait["fixed_effects"].push_back(
                {{"name", m.f_ef_name(j).view()}, {"levels", run.run().NLEV(i, j)}});
        all.push_back(std::move(trait));
    }
    return all;
}

ordered_json describe_factors(const RunFolder& run) {
    ordered_json all = ordered_json::array();
    for (int32_t k = 1; k <= run.run().NRAMAT; ++k) {
        const RMatrix& r = run.factor(k);
        const int64_t levels = run.run().NRALEV(k);
        all.push_back({{"factor", k},
                       {"name", run.factor_name(k)},
                       {"structure", structure_name(r.structure)},
                       {"levels", levels},
                       {"equations", levels * r.rank}});
    }
    return all;
}

ordered_json describe_warnings(const RunOutcome& outcome, const std::string& work) {
    ordered_json all = ordered_json::array();
    for (const std::string& note : outcome.notes)
        all.push_back({{"text", note}, {"times", 1}, {"in", "kve run"}});
    for (const char* source : {kListing, "KVE_LOG"})
        for (const Message& message : read_messages(fs::path(work) / source, source).messages)
            all.push_back({{"text", message.text}, {"times", message.times}, {"in", source}});
    return all;
}

ordered_json describe_files(const std::string& work) {
    ordered_json all = ordered_json::array();
    std::vector<fs::directory_entry> files(fs::directory_iterator{work}, {});
    std::ranges::sort(files);
    for (const fs::directory_entry& file : files)
        all.push_back({{"name", file.path().filename().string()}, {"bytes", file.file_size()}});
    return all;
}

void add_results(ordered_json& run, const std::string& work) {
    const std::vector<std::string> listing = read_listing(fs::path(work) / kListing);
    const RunFolder folder(work);
    const RunInformation<Owned>& h = folder.run();
    run["version"] = fmt::format("{}.{}", h.version.view(), h.release.view());
    run["records"] = {{"read", h.NREC}, {"recoded", h.n_records}};
    run["traits"] = describe_traits(folder, find_data_figures(listing));
    run["factors"] = describe_factors(folder);
    const int64_t fixed = find_fixed_equations(listing);
    const int64_t random = h.NBEGRA(h.NRAMAT + 1);
    run["equations"] = {{"fixed", fixed}, {"random", random}};
}

std::string traits_on_screen(const ordered_json& run) {
    std::string text = "Trait          used   no value    dropped  fixed effects\n";
    int64_t dropped = 0;
    for (const ordered_json& trait : run.at("traits")) {
        text += fmt::format("  {:<8} {:>8} {:>10} {:>10}  ", trait.at("name").get<std::string>(),
                            trait.value("used", int64_t{0}), trait.value("no_value", int64_t{0}),
                            trait.value("dropped", int64_t{0}));
        dropped += trait.value("dropped", int64_t{0});
        std::vector<std::string> effects;
        for (const ordered_json& effect : trait.at("fixed_effects"))
            effects.push_back(fmt::format("{} {}", effect.at("name").get<std::string>(),
                                          counted(effect.at("levels"), "level")));
        text += fmt::format("{}\n", fmt::join(effects, ", "));
    }
    if (dropped > 0) text += fmt::format("  {}\n", kMeaningOfDropped);
    return text;
}

std::string factors_on_screen(const ordered_json& run) {
    std::string text;
    for (const ordered_json& factor : run.at("factors"))
        text += fmt::format(
            "  {} {:<8} {}, {}, {}\n", factor.at("factor").get<int>(),
            factor.at("name").get<std::string>(), factor.at("structure").get<std::string>(),
            counted(factor.at("levels"), "level"), counted(factor.at("equations"), "equation"));
    return text.empty() ? text : "\nRandom factors\n" + text;
}

std::string warnings_on_screen(const ordered_json& run) {
    constexpr std::size_t kMost = 12;
    std::string text;
    std::size_t n = 0;
    for (const ordered_json& warning : run.at("warnings")) {
        if (++n > kMost) continue;
        std::string words = warning.at("text");
        for (std::size_t at = 0; (at = words.find('\n', at)) != words.npos; at += 5)
            words.replace(at, 1, "\n     ");
        text += fmt::format("  {}", words);
        if (const int64_t times = warning.at("times"); times > 1)
            text += fmt::format(" ({} times)", times);
        text += fmt::format(" [{}]\n", warning.at("in").get<std::string>());
    }
    if (n > kMost) text += fmt::format("  {} more in {}\n", n - kMost, kRecord);
    for (const ordered_json& input : run.at("inputs"))
        if (input.contains("changed"))
            text += fmt::format("  {} was changed while the run went on\n",
                                input.at("name").get<std::string>());
    return text.empty() ? text : "\nWarnings\n" + text;
}

}  // namespace

ordered_json describe_run(const RunOutcome& outcome, const std::string& work) {
    const Ended& ended = outcome.ended;
    ordered_json run{{"directives", outcome.directives},
                     {"folder", outcome.folder},
                     {"inputs_folder", outcome.inputs_folder},
                     {"program", outcome.program},
                     {"version", nullptr},
                     {"kve", KVE_VERSION},
                     {"begin", time_text(outcome.begin)},
                     {"seconds", ended.seconds},
                     {"cpu_seconds", ended.cpu_seconds},
                     {"most_memory", ended.most_memory},
                     {"status", ended.status},
                     {"reason", outcome.reason},
                     {"listing", kListing}};
    if (ended.status == 0) add_results(run, work);
    run["warnings"] = describe_warnings(outcome, work);
    run["inputs"] = describe_inputs(outcome.inputs);
    run["files"] = describe_files(work);
    run["check"] = {{"findings", outcome.findings.as_json()}, {"model", outcome.model}};
    return run;
}

std::string screen_of(const ordered_json& run) {
    const ordered_json &records = run.at("records"), &equations = run.at("equations");
    const int64_t fixed = equations.at("fixed"), random = equations.at("random");
    const std::string folder = run.at("folder");
    return fmt::format(
        "{}: KVE1 {}, {:.1f} s\n{} read, {} recoded; {}, {} fixed "
        "and {} random\n\n{}{}{}\n{}/{} is the listing; kve report {} shows more\n",
        folder, run.at("version").get<std::string>(), run.at("seconds").get<double>(),
        counted(records.at("read"), "record"), records.at("recoded").get<int64_t>(),
        counted(fixed + random, "equation"), fixed, random, traits_on_screen(run),
        factors_on_screen(run), warnings_on_screen(run), folder, kListing, folder);
}

}  // namespace kve::companion
