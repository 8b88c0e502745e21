#include "model_builder.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>

#include "model/dump.h"
#include "run/directives.h"
#include "run/listing.h"

using namespace kve;
using state::DIRECTIVES, state::KVEINT, state::MODEL;

namespace {

constexpr int kColumns = 9;

int32_t length(const auto& list) { return static_cast<int32_t>(list.size()); }

void fill_effects(Model& m, const Submodel& given) {
    m.n_ef = length(given.effects);
    m.n_random = length(given.matrices);
    m.n_fixed = m.n_ef - m.n_random;
    allocate_model_level_3(m);
    allocate_model_level_4(m);
    std::copy(given.effects.begin(), given.effects.end(), m.ef_inp.begin());
    for (int e : given.no_intercept) m.intercept(e) = false;
    for (int32_t j = 1; j <= m.n_fixed; ++j) m.f_ef_inp(j) = m.ef_inp(j);
    for (int32_t j = 1; j <= m.n_random; ++j) {
        m.r_ef_no(j) = m.n_fixed + j;
        m.r_ef_inp(j) = m.ef_inp(m.n_fixed + j);
        m.r_ef_name(j) = integer_name(m.r_ef_inp(j));
        m.r_intercept(j) = m.intercept(m.n_fixed + j);
        m.r_ef_coeff(j) = 1.0F;
        m.r_ef_matno(j) = given.matrices[static_cast<std::size_t>(j - 1)];
        if (!given.reduce.empty())
            m.reduce(m.n_fixed + j) = given.reduce[static_cast<std::size_t>(j - 1)];
        KVEINT.NRAMAT = std::max(KVEINT.NRAMAT, m.r_ef_matno(j));
    }
    for (int j : given.merged) m.merge_prev(j) = 1;
}

void fill_regressions(Model& m, const std::vector<Regression>& given) {
    m.n_reg = length(given);
    allocate_model_level_5(m);
    int32_t l = 0;
    for (const Regression& regression : given) {
        ++l;
        m.reg_inp(l) = regression.column;
        m.reg_rci(l) = regression.column;
        m.reg_name(l) = real_name(regression.column);
        m.reg_n_ef_no(l) = regression.effect;
        m.reg_n_level(l) = regression.level;
        if (regression.effect == 0) continue;
        m.reg_n_inp(l) = m.ef_inp(regression.effect);
        m.reg_type(l) = regression.effect <= m.n_fixed ? kNestedInFixed : kNestedInRandom;
        if (m.reg_type(l) != kNestedInRandom) continue;
        m.reg_r_matno(l) = m.r_ef_matno(regression.effect - m.n_fixed);
        ++m.n_r_n_reg;
    }
}

}  // namespace

void name_columns() {
    DIRECTIVES.NI = DIRECTIVES.NR = kColumns;
    ASSERT_EQ(DIRECTIVES.NAME_I.allocate(kColumns + 1) + DIRECTIVES.NAME_R.allocate(kColumns) +
                  DIRECTIVES.IS_MIXTURE.allocate(kColumns),
              0);
    DIRECTIVES.NAME_I(0) = "Mu";
    for (int c = 1; c <= kColumns; ++c) {
        const char digit = static_cast<char>('0' + c);
        DIRECTIVES.NAME_I(c) = std::string{'I', digit};
        DIRECTIVES.NAME_R(c) = std::string{'R', digit};
    }
}

void build_model(const std::vector<Submodel>& traits) {
    name_columns();
    KVEINT = ModelCounts{};
    KVEINT.nt = length(traits);
    allocate_model_level_1(KVEINT.nt);
    ASSERT_EQ(KVEINT.LogicalZeroEltR0.allocate(KVEINT.nt, KVEINT.nt), 0);
    int32_t fixed = 0;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        const Submodel& given = traits[static_cast<std::size_t>(i - 1)];
        Model& m = MODEL(i);
        m.trait_type = kGaussian;
        m.trait_inp_no = i;
        m.trait_name = real_name(i);
        fill_effects(m, given);
        for (int32_t& column : m.f_ef_rci) column = ++fixed;
        fill_regressions(m, given.regressions);
        if (!given.reduce.empty()) DIRECTIVES.reduce_file = "KVE1.reduce";
    }
}

ModelTest::ModelTest() : before_(std::filesystem::current_path()) {
    std::string name = (std::filesystem::temp_directory_path() / "kve-unit-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    DIRECTIVES = Directives{};
    folder_ = name;
    std::filesystem::current_path(folder_);
    static_cast<void>(open_log());
}

ModelTest::~ModelTest() {
    std::filesystem::current_path(before_);
    std::filesystem::remove_all(folder_);
}

void expect_fields(const std::vector<std::string>& expected, const std::string& about) {
    const std::string dump =
        std::regex_replace(listing_of(dump_model_records), std::regex(" +"), " ") + "\n";
    for (const std::string& fields : expected) {
        const std::string title = fields.substr(0, fields.find(':'));
        const std::size_t begin = dump.find("\n " + title);
        const std::string record = dump.substr(begin, dump.find("\n\n", begin) + 1 - begin);
        std::istringstream items(fields.substr(title.size() + 1));
        for (std::string item; std::getline(items, item, ';');)
            EXPECT_NE(record.find("\n" + item + "\n"), record.npos)
                << title << ":" << item << ", " << about << record;
    }
}

std::string content_of(const char* file) {
    std::ifstream from(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(from), {}};
}

std::string listing_of(const std::function<void()>& call) {
    testing::internal::CaptureStdout();
    call();
    std::fflush(stdout);
    return testing::internal::GetCapturedStdout();
}
