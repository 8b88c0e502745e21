#include "reports/submodel_page.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/state.h"
#include "base/text.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "model/model_records.h"

namespace kve {

READS(MODEL);
READS(RMAT);

namespace {

constexpr std::size_t kLongestLine = 132;  // of the page of a line printer
constexpr std::size_t kFunctionWidth = 120;

// What a trait or an effect shows in each row of its submodel's table.
struct Column {
    std::string name, type, input, matrix, mixture;
};

// Columns side by side, as many as a line holds; further ones stand below under their own labels.
class SideBySide {
 public:
    explicit SideBySide(bool mixture) : rows_(mixture ? 5 : 4) { begin(); }

    void add(const Column& column) {
        const std::array<const std::string*, 5> cells = {&column.name, &column.type, &column.input,
                                                         &column.matrix, &column.mixture};
        std::size_t width = Name().padded().size();
        for (const std::string* cell : cells) width = std::max(width, cell->size());
        if (n_ > 0 && lines_[0].size() + kGap + width > kLongestLine) print();
        for (std::size_t k = 0; k < rows_; ++k) {
            lines_[k].append(kGap, ' ').append(*cells[k]);
            lines_[k].append(width - cells[k]->size(), ' ');
        }
        ++n_;
    }
    void print() {
        Block block;
        block.blank();
        for (std::size_t k = 0; k < rows_; ++k)
            block.line("%.*s", KVE_SV(right_trimmed(lines_[k])));
        block.print();
        begin();
    }

 private:
    static constexpr std::size_t kGap = 2;

    void begin() {
        lines_ = {"Trait / effect :", "Type           :", "Input no.      :", "Random mat. no.:",
                  "Mixture var.   :"};
        n_ = 0;
    }

    std::size_t rows_;
    std::array<std::string, 5> lines_;
    int64_t n_ = 0;
};

std::string class_word(const Model& m) {
    switch (m.trait_type) {
        case kGaussian:
            return "NOR";
        case kRightCensored:
            return "CENS";
        case kCategorical:
            return "CAT";
        case kBinary:
            return "BIN";
        case kGeneralized:
            return m.n_random > 0 ? "GLMM" : "GLM";
        case kSequentialBinary:
            return "SBIN";
        default:  // kMixtureLinear, kSequentialLinear
            return "M-L";
    }
}

// Under R the real column of the trait, under W that of its weight.
Column trait_column(const Model& m) {
    Column column{.name = m.trait_name.string(),
                  .type = {},
                  .input = {},
                  .matrix = {},
                  .mixture = m.mix_name.string()};
    append(column.type, "%-4s   R   W", class_word(m).c_str());
    append(column.input, "%8d %3d", m.trait_inp_no, m.wgt_inp_no);
    return column;
}

Column random_column(const Model& m, int32_t j) {
    const int32_t k = m.r_ef_matno(j);
    return {m.r_ef_name(j).string(),
            RMAT(k).structure == Structure::ABS_QTL ? "R_A" : "R",
            std::to_string(m.r_ef_inp(j)),
            std::to_string(k),
            {}};
}

Column regression_column(const Model& m, int32_t l) {
    const bool random = m.reg_type(l) == kNestedInRandom;
    return {m.reg_name_n(l).string(),
            random ? "R" : "F",
            std::to_string(m.reg_inp(l)),
            random ? std::to_string(m.reg_r_matno(l)) : "",
            {}};
}

int64_t number_of_effects(const Model& m) { return int64_t{m.n_absorb} + m.n_ef + m.n_reg; }

// Absorbed, fixed and random effects, then the covariables.
Column effect_column(const Model& m, int64_t c) {
    auto place = static_cast<int32_t>(std::min<int64_t>(c, m.n_absorb));
    if (c == place)
        return {m.a_ef_name(place).string(), "A", std::to_string(m.a_ef_inp(place)), {}, {}};
    c -= m.n_absorb;
    if (c > m.n_ef) return regression_column(m, static_cast<int32_t>(c - m.n_ef));
    const auto j = static_cast<int32_t>(c);
    if (j > m.n_fixed) return random_column(m, j - m.n_fixed);
    return {m.f_ef_name(j).string(), "F", std::to_string(m.f_ef_inp(j)), {}, {}};
}

void say_columns(const Model& m) {
    SideBySide columns(m.l_mixture != 0);
    columns.add(trait_column(m));
    for (int64_t c = 1; c <= number_of_effects(m); ++c) columns.add(effect_column(m, c));
    columns.print();
}

// A long function goes on below its first character.
void say_function(std::string_view label, const Text<256>& function) {
    std::string_view text = function.view();
    const std::string margin(label.size(), ' ');
    std::string_view head = label;
    do {
        const std::string_view piece = text.substr(0, kFunctionWidth);
        say_row("%.*s%.*s", KVE_SV(head), KVE_SV(piece));
        text.remove_prefix(piece.size());
        head = margin;
    } while (!text.empty());
}

void say_glmm(const Model& m) {
    page_if(9);
    blank_lines();
    say_line("GLMM specification: ");
    say_line("Variance function=%.*s, Link function=%.*s", KVE_SV(m.var_fn.view()),
             KVE_SV(m.link_fn.view()));
    say_function("Variance: ", m.var_f);
    say_function("Link    : ", m.link_f);
    say_function("Dlink   : ", m.dlink_f);
    say_function("Invlink : ", m.invlink_f);
    say_function("Deviance: ", m.deviance);
    if (m.offset_inp > 0)
        say_row("Offset real input number : %12d  Real variable name %.*s", m.offset_inp,
                KVE_SV(real_name(m.offset_inp).view()));
}

void say_model(const Model& m) {
    constexpr std::string_view joint = " +", rest = "..........";
    std::string line(m.trait_name.padded());
    line += " = ";
    const int64_t n = number_of_effects(m);
    for (int64_t c = 1; c <= n; ++c) {
        std::string item = effect_column(m, c).name;
        if (c > 1) item.insert(0, joint);
        const std::size_t kept_free = c < n ? joint.size() + rest.size() : 0;
        if (line.size() + item.size() + kept_free > kLongestLine) {
            line.append(joint).append(rest);
            break;
        }
        line += item;
    }
    say_row("%s", line.c_str());
}

}  // namespace

void report_submodels() {
    page_header();
    blank_lines(2);
    say_line("Model description (detailed)");
    say_line("----------------------------");
    for (const Model& m : MODEL) {
        say_columns(m);
        if (m.l_glmm) say_glmm(m);
    }
    page_if(4);
    blank_lines();
    say_line("Trait      Model");
    say_line("--------   --------");
    for (const Model& m : MODEL) say_model(m);
}

}  // namespace kve
