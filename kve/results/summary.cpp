// kve summary: the analysis on one screen, or all of MODINF as JSON.
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>

#include "directives/catalogue.h"
#include "handover/model_information_fields.h"
#include "kve/files/listing_words.h"
#include "kve/files/run_folder.h"
#include "kve/results/model_words.h"
#include "kve/shared/commands.h"
#include "kve/shared/failure.h"
#include "kve/shared/noun.h"
#include "kve/shared/output.h"

namespace kve::companion {

namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

struct Options : CommonOptions {
    bool json = false;
};

// JSON

ordered_json to_json(int8_t value) { return static_cast<int>(value); }
ordered_json to_json(int32_t value) { return value; }
ordered_json to_json(int64_t value) { return value; }
ordered_json to_json(double value) { return value; }
// With the digits that the number has as a real32.
ordered_json to_json(float value) { return std::stod(fmt::format("{}", value)); }
ordered_json to_json(logical4 value) { return static_cast<bool>(value); }
ordered_json to_json(Structure value) { return structure_name(value); }
template <int N>
ordered_json to_json(const Text<N>& value) {
    return value.view();
}

template <class T>
ordered_json rows_to_json(const T* values, int64_t rows, int64_t columns) {
    ordered_json all = ordered_json::array();
    for (int64_t i = 0; i < rows; ++i) {
        ordered_json row = ordered_json::array();
        for (int64_t j = 0; j < columns; ++j) row.push_back(to_json(values[j * rows + i]));
        all.push_back(std::move(row));
    }
    return all;
}

// An array as a list, a matrix as a list of its rows, a cube as a list of its layers.
template <class T>
ordered_json to_json(const T* values, const Extents& shape) {
    const int64_t rows = shape.n[0], columns = shape.n[1];
    if (shape.dimensions == 2) return rows_to_json(values, rows, columns);
    ordered_json all = ordered_json::array();
    if (shape.dimensions == 3)
        for (int64_t layer = 0; layer < shape.n[2]; ++layer)
            all.push_back(rows_to_json(values + layer * rows * columns, rows, columns));
    else
        for (int64_t i = 0; i < rows; ++i) all.push_back(to_json(values[i]));
    return all;
}

// The fields that a description shows, by their names.
struct JsonFields {
    ordered_json fields = ordered_json::object();

    template <class... Parts>
    void record(const Parts&... parts) {
        (for_each_field(parts,
                        [this](std::string_view name, const Extents& shape, const auto& item) {
                            if constexpr (requires { item.data(); })
                                fields[std::string(name)] = to_json(item.data(), shape);
                            else
                                fields[std::string(name)] = to_json(item);
                        }),
         ...);
    }
};

ordered_json to_json(const RunFolder& run) {
    ordered_json all;
    JsonFields head, tail;
    describe_head(head, run.run());
    all["head"] = std::move(head.fields);
    all["traits"] = ordered_json::array();
    for (const Model& m : run.traits()) {
        JsonFields trait;
        describe_trait(trait, m);
        all["traits"].push_back(std::move(trait.fields));
    }
    all["matrices"] = ordered_json::array();
    for (const RMatrix& r : run.matrices()) {
        JsonFields matrix;
        describe_matrix(matrix, r, &r != &run.residual());
        all["matrices"].push_back(std::move(matrix.fields));
    }
    describe_tail(tail, run.run(), run.residual());
    all["tail"] = std::move(tail.fields);
    all["files"] = ordered_json::array();
    for (const RunFile& file : run.promised_files()) {
        std::error_code error;
        const uintmax_t bytes = fs::file_size(run.path() / file.name, error);
        all["files"].push_back({{"name", file.name}, {"bytes", nullptr}});
        if (!error) all["files"].back()["bytes"] = bytes;
    }
    return all;
}

// Text

void put_line(Output& out, const char* heading, const std::string& text) {
    if (!text.empty()) out.put(fmt::format("      {:<12} {}\n", heading, text));
}

void put_trait(Output& out, const RunFolder& run, int32_t i, std::optional<int64_t> records) {
    const Model& m = run.trait(i);
    out.put(fmt::format("  {} {:<8} {}{}", i, m.trait_name.view(), trait_type_name(m.trait_type),
                        records ? ", " + counted(*records, "record") : ""));
    if (m.wgt_inp_no > 0) out.put(fmt::format(", weight {}", m.wgt_name.view()));
    if (m.l_glmm) out.put(fmt::format(", {} {}", m.var_fn.view(), m.link_fn.view()));
    out.put('\n');
    std::vector<std::string> fixed, random, absorbed;
    for (int32_t j = 1; j <= m.n_absorb; ++j)
        absorbed.push_back(
            fmt::format("{} {}", m.a_ef_name(j).view(), counted(run.run().NABGR(j), "group")));
    for (int32_t j = 1; j <= m.n_fixed; ++j)
        fixed.push_back(fmt::format("{} {}{}", m.f_ef_name(j).view(),
                                    counted(run.run().NLEV(i, j), "level"),
                                    m.f_intercept(j) ? "" : " (regressions only)"));
    for (int32_t j = 1; j <= m.n_random; ++j)
        random.push_back(fmt::format("{} (factor {})", m.r_ef_name(j).view(), m.r_ef_matno(j)));
    put_line(out, "absorbed", fmt::format("{}", fmt::join(absorbed, ", ")));
    put_line(out, "fixed", fmt::format("{}", fmt::join(fixed, ", ")));
    put_line(out, "random", fmt::format("{}", fmt::join(random, ", ")));
    put_line(out, "regressions", regressions_of(m));
}

// Why a trait is not used in some of the records.
void put_unused(Output& out, const ListedData& listed, std::size_t i) {
    const TraitRecords& trait = listed.traits[i];
    const int64_t without = listed.records - trait.used - trait.dropped;
    std::vector<std::string> unused;
    if (without > 0) unused.push_back(counted(without, "record") + " without a value");
    if (trait.dropped > 0) unused.push_back(fmt::format("{} dropped", trait.dropped));
    put_line(out, "not used", fmt::format("{}", fmt::join(unused, ", ")));
}

void put_traits(Output& out, const RunFolder& run, const std::optional<ListedData>& listed) {
    const auto records = count_records(run);
    for (int32_t i = 1; i <= run.run().nt; ++i) {
        const auto place = static_cast<std::size_t>(i) - 1;
        put_trait(out, run, i,
                  records[place] || !listed ? records[place] : listed->traits[place].used);
        if (listed) put_unused(out, *listed, place);
    }
    if (listed && std::ranges::any_of(listed->traits, [](auto& t) { return t.dropped > 0; }))
        out.put(fmt::format("  {}\n", kMeaningOfDropped));
}

// What the listing in the folder tells of the data, when it is there whole.
std::optional<ListedData> find_listed(const RunFolder& run) {
    const fs::path file = find_listing(run);
    if (file.empty()) return {};
    ListedData listed = find_data_figures(read_listing(file));
    if (listed.records != run.run().NREC || listed.traits.size() != run.traits().size()) return {};
    return listed;
}

void put_rows(Output& out, const RMatrix& r) {
    for (int32_t c = 1; c <= r.n_cont; ++c) {
        out.put(fmt::format("      row {:<3} {:<8} {}", r.cont_rc(c), r.cont_t_name(c).view(),
                            r.cont_id_name(c).view()));
        if (r.cont_rr_eff(c)) out.put(fmt::format(", regression on {}", r.cont_rr_name(c).view()));
        out.put('\n');
    }
}

void put_factor(Output& out, const RunFolder& run, int32_t k) {
    const RMatrix& r = run.factor(k);
    const int64_t levels = run.run().NRALEV(k);
    out.put(fmt::format("  {} {:<8} {}", k, run.factor_name(k), structure_name(r.structure)));
    if (r.method > 0) out.put(fmt::format(" method {}", r.method));
    if (r.ass_rf > 0) out.put(fmt::format(" of factor {}", r.ass_rf));
    if (!r.rel_file.blank()) out.put(fmt::format(" {}", r.rel_file.view()));
    out.put(
        fmt::format(", {}, {}", counted(levels, "level"), counted(levels * r.rank, "equation")));
    if (r.l_log_det) out.put(fmt::format(", log determinant {:.3f}", r.log_det));
    out.put('\n');
    put_rows(out, r);
    put_line(out, "restricted", restrictions_of(r));
}

void put_files(Output& out, const RunFolder& run) {
    out.put("\nFiles\n");
    for (const RunFile& file : run.promised_files()) {
        std::error_code error;
        const uintmax_t bytes = fs::file_size(run.path() / file.name, error);
        out.put(fmt::format("  {:<12} {}\n", file.name,
                            error ? "missing" : fmt::format("{:>15} bytes", bytes)));
    }
}

void put_summary(Output& out, const RunFolder& run) {
    const RunInformation<Owned>& h = run.run();
    out.put(fmt::format("{}: KVE1 {}.{}, {}\n", run.path().string(), h.version.view(),
                        h.release.view(), h.RUN_DATE.view()));
    out.put(fmt::format("task {}, {}; method {}, {}{}\n", h.ITASK, task_label(h.ITASK), h.IMETHOD,
                        method_label(h.ITASK, h.IMETHOD), h.ISCALE == 1 ? "; traits scaled" : ""));
    const std::optional<ListedData> listed = find_listed(run);
    const int64_t n_left_out = h.NREC - h.n_records;
    out.put(fmt::format("{}, {} recoded", counted(h.NREC, "data record"), h.n_records));
    if (n_left_out > 0)
        out.put(fmt::format("; no trait can be used in the other {}{}", n_left_out,
                            listed ? "" : ", the listing tells why"));
    out.put("\n\nTraits\n");
    put_traits(out, run, listed);
    if (h.NRAMAT > 0) out.put("\nRandom factors\n");
    for (int32_t k = 1; k <= h.NRAMAT; ++k) put_factor(out, run, k);
    if (run.has_groups())
        out.put(fmt::format("\nResidual (co)variances in {} of {}\n",
                            counted(run.residual().grp_nlev, "group"),
                            run.residual().grp_name.view()));
    if (const std::string fixed = restrictions_of(run.residual()); !fixed.empty())
        out.put(fmt::format("\nResidual, restricted: {}\n", fixed));
    put_files(out, run);
}

int show_summary(const Options& options) {
    const RunFolder run(options.folder);
    Output out(options.output);
    if (options.json) {
        constexpr auto replace = ordered_json::error_handler_t::replace;
        out.put(std::string_view(to_json(run).dump(1, ' ', false, replace)));
        out.put('\n');
    } else {
        put_summary(out, run);
    }
    out.finish();
    return kGood;
}

}  // namespace

Command add_summary(CLI::App& app) {
    auto options = std::make_shared<Options>();
    CLI::App* command = app.add_subcommand("summary", "the analysis on one screen");
    add_common(*command, *options);
    command->add_flag("--json", options->json,
                      "all of MODINF, its fields by the names of docs/files.md");
    command->footer(
        "Example: the number of animals in the first random factor\n"
        "  kve summary out/dairy --json | jq '.head.NRALEV[0]'");
    return [options] { return show_summary(*options); };
}

}  // namespace kve::companion
