#include "kve/check/reading.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>
#include <new>

#include "base/arrays.h"
#include "base/input.h"
#include "base/leave.h"
#include "base/state.h"
#include "covariances/prior_lines.h"
#include "covariances/priors.h"
#include "data/first_pass.h"
#include "data/residual_groups.h"
#include "directives/catalogue.h"
#include "directives/dimensions.h"
#include "directives/directive_lines.h"
#include "directives/directive_reader.h"
#include "directives/directives.h"
#include "directives/open_files.h"
#include "directives/pedigree_columns.h"
#include "directives/place.h"
#include "kve/check/directive_text.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "listing/units.h"
#include "model/model_records.h"
#include "run/understanding.h"
#include "store/work_tables.h"

namespace kve::companion {

READS(DIRECTIVES);
READS(LINE_NUMBER);
READS(SECTION_LINE);
READS(PRIOR_LINE);
READS(KVEINT);
READS(RMAT);
WRITES(UNITS);
WRITES(INPUT_FOLDER);

namespace {

// Of the one reading of this process; null in the processes of all other commands.
struct Under {
    ReadingJob job;
    Reading reading;
    std::size_t next_step = 0;
    Step step = Step::before;
    std::string line;          // of the listing, not yet complete
    bool is_log_copy = false;  // the listing shows KVE_LOG
    bool is_block_open = false;
};
Under* UNDER = nullptr;

// ---- What the stages say

constexpr std::string_view kFirstWords[] = {"ERROR",   "Error",       "WARNING",          "Problem",
                                            "Serious", "VARIANCE IN", "RESIDUAL VARIANCE"};

bool begins_message(std::string_view line) {
    const std::size_t first = line.find_first_not_of(" *");
    if (first == line.npos) return false;
    return std::ranges::any_of(kFirstWords, [text = line.substr(first)](std::string_view word) {
        return text.starts_with(word);
    });
}

// Of a stop: tells nothing.
bool is_last_line(std::string_view line) {
    const std::string words = folded(line);
    return words.size() < 30 &&
           (words.find("erminate") != words.npos || words.find("TERMINATE") != words.npos ||
            words.find("omputations A") != words.npos || words.find("omputations a") != words.npos);
}

void take_line(std::string_view line) {
    Under& under = *UNDER;
    if (line.find("A listing of information in the directive file follows") != line.npos)
        under.is_log_copy = true;
    if (under.is_log_copy) return;
    const bool is_head = line.find("Multivariate Mixed Model Package") != line.npos;
    if (is_head || folded(line).empty() || is_last_line(line)) {
        under.is_block_open = false;
        return;
    }
    if (!under.is_block_open || begins_message(line))
        under.reading.said.push_back({under.step, SECTION_LINE, LINE_NUMBER, PRIOR_LINE, {}});
    under.is_block_open = true;
    under.reading.said.back().lines.emplace_back(line);
}

// Of a stream: what is written to the listing comes here line by line.
ssize_t take_listing(void*, const char* text, std::size_t size) {
    for (std::string_view rest(text, size); !rest.empty();) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        UNDER->line.append(rest.substr(0, end));
        if (end < rest.size()) {
            take_line(UNDER->line);
            UNDER->line.clear();
        }
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return static_cast<ssize_t>(size);
}

void listen() {
    cookie_io_functions_t listener{};
    listener.write = take_listing;
    std::FILE* listing = ::fopencookie(nullptr, "w", listener);
    if (listing == nullptr) std::_Exit(EXIT_FAILURE);
    stdout = listing;
}

// ---- The steps

void begin() {
    start_listing();
    read_dimensions();
}

bool has_faults() { return UNDER->reading.stopped_in(Step::directives); }

bool files_can_be_opened() { return !has_faults(); }

bool model_can_be_read() {
    return UNDER->reading.has_directives() && DIRECTIVES.NAME_I.size() > 0 &&
           !DIRECTIVES.model.name.blank() && task_is_legal(DIRECTIVES.ITASK);
}

// Where a fault kept the files from being opened the text of the model may still be read.
void read_model() {
    const SectionFile& model = DIRECTIVES.model;
    const std::string name = model.name.string(), reduce = DIRECTIVES.reduce_file.string();
    int status = 0;
    if (!UNITS.model_text.is_open())
        status = model.from_user ? UNITS.model_text.open_input(name) : UNITS.model_text.open(name);
    if (status == 0 && !reduce.empty() && !UNITS.reduced_ranks.is_open())
        status = UNITS.reduced_ranks.open(reduce);
    if (status == 0) understand_model();
}

bool has_groups() { return residual_of(RMAT).structure == Structure::GROUP; }

bool groups_can_be_counted() {
    if (!UNDER->reading.has_matrices()) return false;
    const bool data_are_open = UNITS.data[0].text.is_open() || UNITS.data[0].framed.is_open();
    return !has_groups() || (data_are_open && !UNDER->job.fast);
}

// How many residual groups there are is known to the data alone.
void count_groups() {
    if (has_groups()) {
        allocate_tables();
        KVEFP1();
    }
    count_residual_groups();
}

bool priors_can_be_read() {
    return UNDER->reading.has_matrices() && residual_of(RMAT).grp_nlev > 0;
}

bool always() { return true; }

constexpr struct {
    Step step;
    bool (*is_possible)();
    void (*run)();
} kSteps[] = {
    {Step::before, always, begin},
    {Step::before, always, find_place},
    {Step::directives, always, read_directives},
    {Step::pedigrees, files_can_be_opened, check_pedigree_columns},
    {Step::files, files_can_be_opened, open_files},
    {Step::model, model_can_be_read, read_model},
    {Step::groups, groups_can_be_counted, count_groups},
    {Step::priors, priors_can_be_read, KVE_PRIORS},
};

void keep_log() {
    static_cast<void>(UNITS.KVE_LOG.flush());
    std::ifstream file("KVE_LOG", std::ios::binary);
    UNDER->reading.log = {std::istreambuf_iterator<char>(file), {}};
}

// The steps that are left, then the end of the process.
[[noreturn]] void go_on() {
    Under& under = *UNDER;
    while (under.next_step < std::size(kSteps)) {
        const auto& [step, is_possible, run] = kSteps[under.next_step++];
        under.step = step;
        under.is_block_open = false;
        if (is_possible()) run();
    }
    under.step = Step::done;
    std::fflush(stdout);
    int status = EXIT_SUCCESS;
    try {
        keep_log();
        under.job.when_done(under.reading);
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "kve: %s\n", fault.what());
        status = EXIT_FAILURE;
    }
    std::_Exit(status);
}

[[noreturn]] void note_stop() {
    Under& under = *UNDER;
    std::fflush(stdout);
    Stop stop{.step = under.step, .line = LINE_NUMBER};
    if (under.step == Step::directives)
        stop.has_read_all = std::ranges::any_of(under.reading.said, [](const Said& said) {
            return said.has("ERROR(S) FOUND IN DIRECTIVE FILE");
        });
    stop.model_line = UNITS.model_text.line_number() - 1;
    stop.reduce_line = UNITS.reduced_ranks.line_number() - 1;
    stop.is_in_log = under.is_log_copy;
    under.is_log_copy = under.is_block_open = false;
    under.reading.stops.push_back(stop);
    if (under.step == Step::done) std::_Exit(EXIT_FAILURE);
    go_on();
}

// The text as a file on the stream, whatever the file that it came from.
void read_from(const std::string& text) {
    const int file = ::memfd_create("directives", MFD_CLOEXEC);
    bool is_written = file >= 0;
    for (std::size_t at = 0; is_written && at < text.size();) {
        const ssize_t n = ::write(file, text.data() + at, text.size() - at);
        is_written = n > 0;
        at += is_written ? static_cast<std::size_t>(n) : 0;
    }
    if (!is_written || ::lseek(file, 0, SEEK_SET) != 0 || ::dup2(file, STDIN_FILENO) < 0)
        std::_Exit(EXIT_FAILURE);
}

}  // namespace

bool Said::has(std::string_view text) const { return words().find(text) != std::string::npos; }

std::string Said::words() const {
    std::string all;
    for (const std::string& said : lines) all += said + " ";
    return folded(all);
}

bool Reading::stopped_in(Step step) const {
    return std::ranges::any_of(stops, [step](const Stop& stop) { return stop.step == step; });
}

bool Reading::has_directives() const {
    return std::ranges::none_of(stops, [](const Stop& stop) {
        return stop.step == Step::directives && !stop.has_read_all;
    });
}

// Without regressions read the submodels are not complete; they come ahead of the last lines.
bool Reading::has_submodels() const { return has_matrices(); }

bool Reading::has_matrices() const {
    return RMAT.size() > 0 && KVEINT.nt > 0 && residual_of(RMAT).n_traits == KVEINT.nt;
}

bool Reading::has_priors() const {
    return has_matrices() && !stopped_in(Step::groups) && residual_of(RMAT).grp_nlev > 0;
}

void read_with_kve1(const ReadingJob& job) {
    UNDER = new Under{.job = job, .reading = {}, .line = {}};
    std::set_new_handler([] { kve::alloc_error("kve", "working memory", 0, kve::kNoMemory); });
    read_from(job.directives);
    listen();
    INPUT_FOLDER = job.inputs;
    go_on();
}

// The program's own way out, and that of the stages: a stop is noted, and the next step begins.
[[noreturn]] void leave_or_go_on(int status) {
    if (UNDER == nullptr) std::_Exit(status);
    note_stop();
}

}  // namespace kve::companion

namespace kve {

void leave_program(int status) { companion::leave_or_go_on(status); }

}  // namespace kve
