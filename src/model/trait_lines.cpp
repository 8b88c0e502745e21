#include "model/trait_lines.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "base/arrays.h"
#include "base/freeform.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "model/model_lines.h"
#include "model/model_records.h"

namespace kve {

READS(DIRECTIVES);
WRITES(MODEL);
WRITES(KVEINT);

namespace {

constexpr std::size_t kOptionWidth = 25;

// Effects that the counts in brackets add, those of all traits together: a few characters could ask
// for billions.
constexpr int64_t kMostRepeated = 1000;

// Number of traits

bool classes_are_counted() {
    return DIRECTIVES.ITASK == kSampling || DIRECTIVES.ITASK == kLiability;
}

void say_trait_count_header() {
    log_blank();
    if (DIRECTIVES.ITASK == kSampling) {
        log_say(" No of traits in the analysis followed by No of Gaussian,");
        log_say(" No of Censored Gaussian, NO of Catagorical and No Of Binary Traits");
    } else if (DIRECTIVES.ITASK == kLiability) {
        log_say("  No of traits in the analysis followed by No of Gaussian,");
        log_say(" No of Right Censored Gaussian, No Of Categorical and No Of Binary Traits");
    } else {
        log_say("  No of traits in the analysis");
    }
}

[[noreturn]] void refuse_unreadable_counts() {
    log_say("ERROR - Reading line with number of traits");
    terminate_run();
}

[[noreturn]] void refuse_trait_count() {
    log_say("Problem:------> No of traits out of bounds.");
    log_say("                KVE can max handel 31 traits");
    terminate_run();
}

[[noreturn]] void refuse_class_counts() {
    if (DIRECTIVES.ITASK == kLiability)
        log_say("Problem:------> nt /= NGaussTraits+NRightCensTraits+NCatTraits+NBinTrai");
    else
        log_say("Problem:------> nt /= NGaussTraits+NRightCensTraits+NCatTraits+NBinTraits");
    terminate_run();
}

void check_class_counts() {
    int64_t total = 0;
    bool negative = false;
    for (int32_t n :
         {KVEINT.NGaussTraits, KVEINT.NRightCensTraits, KVEINT.NCatTraits, KVEINT.NBinTraits}) {
        total += n;
        negative = negative || n < 0;
    }
    if (total != KVEINT.nt || negative) refuse_class_counts();
}

void allocate_traits() {
    allocate_trait_models(KVEINT.nt);
    int64_t nt = KVEINT.nt;
    check_allocated(KVEINT.H2.allocate(nt), "KVEINT", "H2", nt);
    check_allocated(KVEINT.SPRE.allocate(nt), "KVEINT", "SPRE", nt);
    check_allocated(KVEINT.TraitIdWithWeight.allocate(nt), "KVEINT", "TraitIdWithWeight", nt);
    check_allocated(KVEINT.LogicalZeroEltR0.allocate(nt, nt), "KVEINT", "LogicalZeroEltR0",
                    nt * nt);
}

// Traits stand in the order of their classes.
void set_trait_types() {
    int32_t last_gaussian = KVEINT.NGaussTraits;
    int32_t last_censored = last_gaussian + KVEINT.NRightCensTraits;
    int32_t last_categorical = last_censored + KVEINT.NCatTraits;
    for (int32_t i = 1; i <= KVEINT.nt; ++i)
        MODEL(i).trait_type = i <= last_gaussian      ? kGaussian
                              : i <= last_censored    ? kRightCensored
                              : i <= last_categorical ? kCategorical
                                                      : kBinary;
    KVEINT.N_CONT_TRAITS = last_censored;
    KVEINT.N_THRESH_TRAITS = KVEINT.NCatTraits + KVEINT.NBinTraits;
}

// Absorption

[[noreturn]] void refuse_absorption() {
    log_say("ERROR - Reading line with effects to absorbe");
    log_say("        Expect one line per trait ");
    log_say("        with number of effects and the ");
    log_say("integer input no. for each effect to absorb");
    terminate_run();
}

void read_absorption_line(ModelLines& lines, Model& m) {
    if (lines.read_record(m.n_absorb) != Read::ok || m.n_absorb < 0) refuse_absorption();
    m.lines.absorption = lines.line_number();
    if (m.n_absorb == 0) {
        log_integers({&m.n_absorb, 1});
        return;
    }
    lines.step_back();
    std::vector<int32_t> effects;
    if (lines.read_counted_record(m.n_absorb, effects) != Read::ok) refuse_absorption();
    allocate_absorbed_effects(m);
    for (int32_t j = 1; j <= m.n_absorb; ++j) {
        int32_t effect = effects[static_cast<std::size_t>(j - 1)];
        if (effect < 0 || effect > DIRECTIVES.NI) refuse_absorption();
        m.a_ef_inp(j) = effect;
        m.a_ef_rci(j) = j;
        m.a_ef_name(j) = integer_name(effect);
    }
    log_count_and_list(m.n_absorb, effects);
}

[[noreturn]] void refuse_different_absorption() {
    log_say("ERROR - Effects to be absorbed (solved by GS) are");
    log_say("        not consistent across traits");
    terminate_run();
}

[[noreturn]] void refuse_absorption_of_task() {
    log_say("ABSORPTION NOT ALLOWED FOR THIS TASK");
    terminate_run();
}

// All traits that absorb an m'th effect must absorb the same one. A first effect 0, the mean,
// counts as not yet seen.
void check_absorption_agrees() {
    Vec<int32_t> WORK1;
    check_allocated(WORK1.allocate(KVEINT.MAX_N_ABSORB), "KVEINT", "WORK1", KVEINT.MAX_N_ABSORB);
    for (const Model& trait : MODEL) {
        for (int32_t m = 1; m <= trait.n_absorb; ++m) {
            if (WORK1(m) == 0) WORK1(m) = trait.a_ef_inp(m);
            if (WORK1(m) != trait.a_ef_inp(m)) refuse_different_absorption();
        }
    }
}

// Model lines

// One item of a model line: `count` neighbouring effects alike.
struct EffectItem {
    int32_t ef_inp = 0;
    bool intercept = true;
    int32_t count = 1;
};

struct ModelLine {
    int32_t trait;
    std::string_view rest;  // what is not yet taken
    int64_t& n_repeated;    // effects that counts have added so far, in earlier traits too
    int32_t j = 1;          // the effect that comes next
};

void say_class_header(int32_t trait_type) {
    log_blank();
    switch (trait_type) {
        case kGaussian:
            log_say("Trait,weight and classification effect in models of Gaussian traits");
            break;
        case kRightCensored:
            log_say(
                "Trait,weight,DELTA and classification effect in models of Right Censored "
                "Gaussian Traits");
            break;
        case kCategorical:
            log_say(
                "Trait,weight and classification effect in models of Categorical Traits with 3 "
                "or more categories");
            break;
        default:
            log_say("Trait,weight and classification effect in models of Binary traits");
    }
}

[[noreturn]] void refuse_model_line(int32_t trait, std::string_view line) {
    log_say("ERROR - Reading model line for trait%12d", trait);
    log_blank();
    refuse_line_read(line);
}

[[noreturn]] void refuse_effect_number(const ModelLine& at) {
    log_say("ERROR - Reading model line for trait%12d", at.trait);
    log_say("        Integer input no. for effect: %12d", at.j);
    terminate_run();
}

[[noreturn]] void refuse_count_before_option(const ModelLine& at) {
    log_say("ERROR - Reading model line for trait%12d", at.trait);
    log_say("        Integer input no. for effect: %12d", at.j);
    log_say("        spefifications in '()' must come before '[]'");
    terminate_run();
}

[[noreturn]] void refuse_illegal_column(const ModelLine& at, int32_t column) {
    log_say("ERROR - Reading model line for trait: %12d", at.trait);
    log_say("        Integer input no. for effect: %12d is: %12d", at.j, column);
    log_say("        Legal value is 0 to no. of integers specified on the $DATA line");
    terminate_run();
}

int32_t read_effect_number(ModelLine& at) {
    std::string_view word = at.rest.substr(0, at.rest.find(' '));
    std::size_t round = word.find('(');
    std::size_t square = word.find('[');
    if (round != std::string_view::npos && square < round) refuse_count_before_option(at);
    int32_t number = 0;
    std::string_view text = cut_text(at.rest, std::min({word.size(), round, square}));
    if (read_free(text, number) != Read::ok) refuse_effect_number(at);
    if (number < 0 || number > DIRECTIVES.NI) refuse_illegal_column(at, number);
    return number;
}

[[noreturn]] void refuse_open_option(const ModelLine& at) {
    log_say("ERROR - Reading model line for trait%12d", at.trait);
    log_say("        Closing bracket not found for effect%12d", at.j);
    terminate_run();
}

// After an effect's number: "(NOINT)" or "(0)" takes the intercept away; other options mean
// nothing.
bool read_intercept(ModelLine& at) {
    if (!at.rest.starts_with('(')) return true;
    std::string_view option;
    if (!cut_bracket(at.rest, ')', option)) refuse_open_option(at);
    option = right_trimmed(left_adjusted(option).substr(0, kOptionWidth));
    return option != "NOINT" && option != "noint" && option != "0";
}

[[noreturn]] void refuse_open_count(const ModelLine& at) {
    log_say("ERROR - Reading model line for trait: %12d", at.trait);
    log_say("        \"[\" specified, but no \"]\" found");
    terminate_run();
}

[[noreturn]] void refuse_repeated_effects(const ModelLine& at) {
    log_say("ERROR - Reading model line for trait: %12d", at.trait);
    log_say("        The counts in [ ] add more than %lld effects to the lines of all traits",
            static_cast<long long>(kMostRepeated));
    terminate_run();
}

int32_t read_repeat_count(ModelLine& at, int32_t n_ef) {
    if (!at.rest.starts_with('[')) return 1;
    std::string_view text;
    if (!cut_bracket(at.rest, ']', text)) refuse_open_count(at);
    int32_t count = 0;
    if (read_free(text, count) != Read::ok) stop_unreadable("$MODEL", "the count in [ ]", text);
    if (int64_t{at.j} + count - 1 > n_ef) refuse_effect_number(at);
    count = std::max(count, 1);
    at.n_repeated += count - 1;
    if (at.n_repeated > kMostRepeated) refuse_repeated_effects(at);
    return count;
}

// Exactly n_ef effects; what stands after the last one stays in the line.
std::vector<EffectItem> read_effect_items(ModelLine& at, int32_t n_ef) {
    std::vector<EffectItem> items;
    while (at.j <= n_ef) {
        EffectItem item;
        item.ef_inp = read_effect_number(at);
        item.intercept = read_intercept(at);
        item.count = read_repeat_count(at, n_ef);
        items.push_back(item);
        // n_ef may be the largest number there is.
        if (item.count > n_ef - at.j) break;
        at.j += item.count;
    }
    return items;
}

void store_effects(Model& m, const std::vector<EffectItem>& items) {
    allocate_class_effects(m);
    int32_t j = 0;
    for (const EffectItem& item : items) {
        for (int32_t k = 1; k <= item.count; ++k) {
            m.ef_inp(++j) = item.ef_inp;
            m.intercept(j) = item.intercept;
        }
    }
}

// Effects and count do not agree: the last effects of the line are the random ones, so one too few
// makes another effect random. A comment may stand there. A negative number stops the run later.
void warn_of_uncounted_effects(const ModelLine& at, const Model& m) {
    if (m.n_ef < 0 || at.rest.empty() || at.rest.front() == '#' || at.rest.front() == '!') return;
    log_warning("WARNING - model line of trait %d (%.*s): not used is what follows its %d effects:",
                at.trait, KVE_SV(real_name(m.trait_inp_no).view()), m.n_ef);
    log_say("          %.*s", KVE_SV(at.rest));
    int32_t column = 0;
    std::string_view number = at.rest.substr(0, at.rest.find_first_of(" (["));
    if (m.n_ef > 0)
        log_say("          Last effect used: %.*s", KVE_SV(integer_name(m.ef_inp(m.n_ef)).view()));
    if (read_free(number, column) == Read::ok && !integer_name(column).blank())
        log_say("          First effect left out: %.*s", KVE_SV(integer_name(column).view()));
    log_say("          Correct the number of effects in the line, or set # before the text");
}

void read_model_line(ModelLines& lines, int32_t i, int64_t& n_repeated) {
    Model& m = MODEL(i);
    Read status = lines.next_line();
    if (status != Read::ok) refuse_model_line(i, lines.line());
    m.lines.effects = lines.line_number();
    ModelLine at{.trait = i, .rest = left_adjusted(lines.line()), .n_repeated = n_repeated};
    log_say("%.*s", KVE_SV(at.rest));
    // There is no item for the censoring indicator in the line, whatever its header says.
    if (read_free(at.rest, m.trait_inp_no, m.wgt_inp_no) != Read::ok)
        refuse_model_line(i, lines.line());
    cut_word(at.rest);
    cut_word(at.rest);
    if (read_free(at.rest, m.n_ef) != Read::ok) refuse_model_line(i, lines.line());
    cut_word(at.rest);
    store_effects(m, read_effect_items(at, m.n_ef));
    warn_of_uncounted_effects(at, m);
}

[[noreturn]] void refuse_weight(int32_t trait) {
    log_blank();
    log_say("A weight variable has been assigned to trait%12d", trait);
    log_say("Trait %12d", trait);
    log_say(" is a Right censored Gaussian trait,");
    log_say(" a categorical or binary threshold character.");
    log_say(" A situation not handled!");
    terminate_run();
}

}  // namespace

void read_trait_counts(ModelLines& lines) {
    say_trait_count_header();
    int32_t counts[5] = {};
    std::size_t n_wanted = classes_are_counted() ? 5 : 1;
    std::span<int32_t> wanted(counts, n_wanted);
    if (lines.read_record(wanted) != Read::ok) refuse_unreadable_counts();
    log_integers(wanted);
    if (!classes_are_counted()) counts[1] = counts[0];
    KVEINT.nt = counts[0];
    KVEINT.NGaussTraits = counts[1];
    KVEINT.NRightCensTraits = counts[2];
    KVEINT.NCatTraits = counts[3];
    KVEINT.NBinTraits = counts[4];
    if (KVEINT.nt < 1 || KVEINT.nt > kMostTraits) refuse_trait_count();
    if (classes_are_counted()) check_class_counts();
    allocate_traits();
    set_trait_types();
}

void read_absorption_lines(ModelLines& lines) {
    log_blank();
    log_say("  Absorption codes");
    KVEINT.MAX_N_ABSORB = 0;
    for (Model& m : MODEL) {
        read_absorption_line(lines, m);
        KVEINT.MAX_N_ABSORB = std::max(KVEINT.MAX_N_ABSORB, m.n_absorb);
    }
    if (KVEINT.MAX_N_ABSORB == 0) return;
    check_absorption_agrees();
    if (DIRECTIVES.ITASK <= kSolveByKve4) refuse_absorption_of_task();
}

void read_model_lines(ModelLines& lines) {
    log_blank();
    log_say("  Model");
    KVEINT.MAX_N_EF = 0;
    int32_t class_before = 0;
    int64_t n_repeated = 0;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        if (MODEL(i).trait_type != class_before) say_class_header(MODEL(i).trait_type);
        class_before = MODEL(i).trait_type;
        read_model_line(lines, i, n_repeated);
        KVEINT.MAX_N_EF = std::max(KVEINT.MAX_N_EF, MODEL(i).n_ef);
    }
    if (KVEINT.NCatTraits > 0) {
        log_blank();
        log_say("Number of categories for Categorical Traits with 3 or more categories");
    }
}

void check_weights() {
    KVEINT.N_WGT_TRAITS = 0;
    for (int32_t i = 1; i <= KVEINT.nt; ++i) {
        if (MODEL(i).wgt_inp_no == 0) continue;
        if (i > KVEINT.NGaussTraits) refuse_weight(i);
        KVEINT.TraitIdWithWeight(++KVEINT.N_WGT_TRAITS) = i;
    }
}

}  // namespace kve
