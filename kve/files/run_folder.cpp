#include "kve/files/run_folder.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "kve/files/record_file.h"
#include "kve/shared/failure.h"

namespace kve::companion {

namespace fs = std::filesystem;

namespace {

std::string read_whole(const fs::path& file) {
    std::error_code ignored;
    if (fs::is_directory(file.parent_path(), ignored) && !fs::exists(file, ignored) && !ignored)
        throw Failure(kUnreadable, file.string() +
                                       ": there is none: no run has ended well in "
                                       "this folder");
    std::string bytes(bytes_of_file(file), '\0');
    std::ifstream from(file, std::ios::binary);
    from.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!from)
        throw Failure(kUnreadable, fmt::format("{}: {}", file.string(), std::strerror(errno)));
    return bytes;
}

// Finds numbers that would lead outside the arrays and records that they speak of.
class ModelCheck {
 public:
    ModelCheck(const ModelInformation& model, std::string path)
        : model_(model), run_(model.run), path_(std::move(path)) {}

    void check() {
        check_counts();
        int32_t number = 0;
        for (const Model& m : model_.traits) {
            place_ = fmt::format("trait {}", ++number);
            check_effects(m);
            check_reals(m);
        }
        number = 0;
        for (const RMatrix& r : model_.matrices) {
            place_ = fmt::format("matrix {}", ++number);
            check_matrix(r, number > run_.NRAMAT);
        }
    }

 private:
    void require(bool holds, const char* what) const {
        if (!holds) throw Failure(kUnreadable, fmt::format("{}: {}: {}", path_, place_, what));
    }
    void within(const Vec<int32_t>& values, int32_t first, int32_t last, const char* what) const {
        require(std::ranges::all_of(values, [&](int32_t v) { return v >= first && v <= last; }),
                what);
    }
    void within(int32_t value, int32_t first, int32_t last, const char* what) const {
        require(value >= first && value <= last, what);
    }

    void check_counts() const {
        require(run_.nt >= 1, "there is no trait");
        require(run_.n_records >= 0, "negative n_records");
        require(run_.NIOUT >= 2 && run_.NFOUT >= 0, "no length of records");  // two zeros
        require(run_.MAX_N_ABSORB >= 0 && run_.MAX_N_ABSORB <= run_.NIOUT,
                "MAX_N_ABSORB is no number of positions");
        const auto is_count = [](int32_t n) { return n >= 0; };
        require(std::ranges::all_of(run_.NRALEV, is_count), "negative NRALEV");
        require(std::all_of(run_.NLEV.data(), run_.NLEV.data() + run_.NLEV.size(), is_count),
                "negative NLEV");
        within(run_.TraitIdWithWeight, 0, run_.nt, "TraitIdWithWeight is no trait");
        int64_t n_fixed = 0, n_reg = 0;
        for (const Model& m : model_.traits) {
            n_fixed += m.n_fixed;
            n_reg += m.n_reg;
        }
        require(run_.n_fixed_positions == n_fixed, "n_fixed_positions is not that of the traits");
        require(run_.N_REG_COLS >= 0 && run_.N_REG_COLS <= n_reg,
                "N_REG_COLS is above the regressions of the traits");
    }

    void check_effects(const Model& m) const {
        require(m.n_fixed <= run_.MAX_N_FIXED, "n_fixed above MAX_N_FIXED");
        require(m.n_absorb <= run_.MAX_N_ABSORB, "n_absorb above MAX_N_ABSORB");
        within(m.f_ef_rci, 1, run_.NIOUT, "f_ef_rci is no position");
        within(m.r_ef_rci, 0, run_.NIOUT, "r_ef_rci is no position");
        within(m.r_ef_matno, 1, run_.NRAMAT, "r_ef_matno is no factor");
        if (m.l_cens) within(m.cens_rci, 1, run_.NIOUT, "cens_rci is no position");
    }

    void check_reals(const Model& m) const {
        within(m.reg_rci, 0, run_.NFOUT, "reg_rci is no position");
        within(m.reg_n_ef_no, 0, m.n_ef, "reg_n_ef_no is no effect");
        within(m.trait_rci, 1, run_.NFOUT, "trait_rci is no position");
        within(m.wgt_rci, 0, run_.NFOUT, "wgt_rci is no position");
        within(m.offset_rci, 0, run_.NFOUT, "offset_rci is no position");
        within(m.int_max_rci, 0, run_.NFOUT, "int_max_rci is no position");
    }

    void check_matrix(const RMatrix& r, bool is_residual) const {
        const bool is_random_type = r.structure != Structure::GROUP;
        require(is_residual ? !is_random_type || r.structure == Structure::I : is_random_type,
                "a type that belongs elsewhere");
        within(r.r_id_rci, 0, run_.NIOUT, "r_id_rci is no position");
        within(r.trait_no, 1, run_.nt, "trait_no is no trait");
        within(r.cont_t_no, 1, run_.nt, "cont_t_no is no trait");
        if (is_residual && !is_random_type)
            within(r.grp_rci, 1, run_.NIOUT, "grp_rci is no position");
        if (r.structure != Structure::DOM && r.structure != Structure::ABS_QTL) return;
        within(r.ass_rf, 1, run_.NRAMAT, "ass_rf is no factor");
        require(has_pedigree(model_.matrices[static_cast<std::size_t>(r.ass_rf) - 1].structure),
                "ass_rf is a factor without a pedigree");
    }

    const ModelInformation& model_;
    const RunInformation<Owned>& run_;
    std::string path_, place_ = "head";
};

}  // namespace

RunFolder::RunFolder(const std::string& folder) : path_(folder) {
    const fs::path file = path_ / "MODINF";
    const std::string bytes = read_whole(file);
    if (bytes.empty())
        throw Failure(kUnreadable,
                      file.string() + ": empty: the run did not get so far, its listing tells why");
    const std::string fault = read_model_information(bytes, model_);
    if (!fault.empty()) throw Failure(kUnreadable, fmt::format("{}: {}", file.string(), fault));
    ModelCheck(model_, file.string()).check();
}

bool RunFolder::has_sequences() const {
    return std::ranges::any_of(traits(),
                               [](const Model& m) { return m.trait_type == kSequentialBinary; });
}

bool RunFolder::has_inbreeding() const {
    return std::ranges::any_of(
        factors(), [](const RMatrix& r) { return has_pedigree(r.structure) && r.method == 1; });
}

void RunFolder::add_factor_files(int32_t k, std::vector<RunFile>& files) const {
    const auto add = [&](const char* prefix, FileKind kind = FileKind::matrix) {
        files.push_back({fmt::format("{}{}", prefix, k), kind, k});
    };
    const RMatrix& r = factor(k);
    // KVE5 makes its own inverse where no inbreeding is asked for.
    const bool has_inverse = run().ITASK < kSolveByKve5 || r.method == 1 || r.method == 3;
    if (has_pedigree(r.structure) && r.l_ram) add("AINV_RAM");
    switch (r.structure) {
        case Structure::PED:
            if (has_inverse) add("AINV");
            return add("PEDFILE", FileKind::parents);
        case Structure::PGMIX:
            if (has_inverse) add("PGMIX");
            return;
        case Structure::COR:
            return add("COR");
        case Structure::DOM:
            return add("DOM");
        case Structure::ABS_QTL:
            return add("IBD");
        case Structure::GREL:
            return add("GINV");
        default:
            return;
    }
}

std::vector<RunFile> RunFolder::promised_files() const {
    std::vector<RunFile> files;
    for (const FileName* name :
         {&run().kve4, &run().kve5, &run().kveai, &run().kvemgp, &run().kvegs})
        if (!name->blank()) files.push_back({name->string(), FileKind::section});
    files.push_back({"RCDATA_I", FileKind::integers});
    files.push_back({"RCDATA_R", FileKind::reals});
    for (int32_t k = 1; k <= run().NRAMAT; ++k) add_factor_files(k, files);
    if (has_inbreeding()) files.push_back({"INBREED", FileKind::inbreeding});
    if (run().OLDSOL_H2 != 0 && solves_with_priors(run().ITASK))
        files.push_back({"oldsol", FileKind::old_solutions});
    if (run().n_foreign_records > 0) files.push_back({"RC_F_INFO", FileKind::foreign_information});
    files.push_back({"CODE_TABLE", FileKind::codes});
    files.push_back({"MODINF", FileKind::model});
    return files;
}

std::string RunFolder::factor_name(int32_t k) const {
    std::vector<std::string> names;
    for (const Model& m : traits())
        for (int32_t j = 1; j <= m.n_random; ++j)
            if (m.r_ef_matno(j) == k && std::ranges::count(names, m.r_ef_name(j).view()) == 0)
                names.push_back(m.r_ef_name(j).string());
    return fmt::format("{}", fmt::join(names, "+"));
}

bool is_name_of_run_file(const std::string& name) {
    static const std::regex of_factor(
        "(AINV|AINV_RAM|PGMIX|COR|DOM|IBD|GINV|PEDFILE|MISS_ID)[1-9]\\d*");
    static const std::set<std::string> others = {
        "MODINF",   "CODE_TABLE", "RCDATA_I",  "RCDATA_R",   "INBREED",     "PEDDATA",
        "oldsol",   "KVE_LOG",    "RC_F_INFO", "KVE1.dir",   "KVE1.reduce", "PARIN",
        "KVE4.dir", "KVE5.dir",   "KVEAI.dir", "KVEMGP.dir", "KVEGS.dir",   "CVREST.DIR"};
    return others.count(name) > 0 || std::regex_match(name, of_factor);
}

}  // namespace kve::companion
