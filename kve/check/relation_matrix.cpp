#include "kve/check/relation_matrix.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <tuple>

#include "base/input.h"
#include "base/records.h"
#include "kve/check/bad_items.h"
#include "matrices/element_file.h"

namespace kve::companion {

namespace {

constexpr int64_t kMostElements = std::numeric_limits<int32_t>::max();

struct MatrixReading {
    Look& look;
    const std::string& file;
    bool is_text, takes_determinant;
    TextInput text{};
    RecordInput framed{};
    BadItems bad{};
    int64_t n_commas = 0, first_comma = 0;
    bool is_cut = false;
};

// The next record, with its line or number; 0 after the last one.
int64_t next_text_element(MatrixReading& at, MatrixElement& element) {
    for (;;) {
        at.text.begin_record();
        const int64_t line = at.text.find_next_item();
        std::optional<int64_t> too_large;
        int32_t ids[2];
        FileAnswer answer = read_text_ids(at.text, ids, too_large);
        if (answer == FileAnswer::end) return 0;
        if (answer == FileAnswer::record &&
            at.text.read_number(element.value) != TextInput::Number::ok)
            answer = FileAnswer::failure;
        if (at.text.error() != 0) {
            at.is_cut = true;
            return 0;
        }
        if (answer == FileAnswer::failure) {
            at.bad.take(at.text);
            continue;
        }
        if (at.text.comma_and_digit_follow() && ++at.n_commas == 1) at.first_comma = line;
        at.text.skip_line();
        element.id_1 = ids[0];
        element.id_2 = ids[1];
        return line;
    }
}

int64_t next_framed_element(MatrixReading& at, MatrixElement& element, int64_t number) {
    const auto record = at.framed.read_record(std::as_writable_bytes(std::span(&element, 1)));
    if (record == RecordInput::Record::ok) return number;
    if (record == RecordInput::Record::end) return 0;
    at.look.findings.error("matrix-record", {at.file, 0, 0},
                           fmt::format("record {} is cut, shorter than 16 bytes, or without its "
                                       "length on both sides; the matrix ends there for KVE1",
                                       number),
                           "Perhaps the file is a text: write ASCII on the $VAR_STR line");
    at.is_cut = true;
    return 0;
}

void take_element(MatrixReading& at, const MatrixElement& element, int64_t record,
                  RelationMatrix& matrix) {
    if (!std::isfinite(element.value))
        at.look.findings.error("matrix-value", matrix.place(record),
                               fmt::format("the element of {} and {} is {}, which is no number",
                                           element.id_1, element.id_2, element.value));
    const int32_t i = matrix.level_of(element.id_1);
    const int32_t j = element.id_1 == element.id_2 ? i : matrix.level_of(element.id_2);
    matrix.elements.push_back({std::max(i, j), std::min(i, j), element.value,
                               static_cast<int32_t>(std::min(record, kMostElements))});
}

void read_all(MatrixReading& at, RelationMatrix& matrix) {
    MatrixElement element{};
    for (int64_t number = 1, record = 0; number < kMostElements; ++number) {
        record =
            at.is_text ? next_text_element(at, element) : next_framed_element(at, element, number);
        if (record == 0) return;
        if (at.look.fast && record > kFastLines) break;
        if (number == 1 && at.takes_determinant && element.is_determinant())
            matrix.log_determinant = element.value;
        else
            take_element(at, element, record, matrix);
    }
    at.is_cut = true;
}

}  // namespace

int32_t RelationMatrix::level_of(int32_t identity) {
    if (const LevelIndex::Slot* slot = levels.find(identity); slot != nullptr) return slot->value();
    const int32_t level = n();
    if (levels.enter(identity, level) != 0) throw std::bad_alloc();
    id.push_back(identity);
    return level;
}

RelationMatrix read_relation_matrix(Look& look, const std::string& file, DataFormat format,
                                    bool takes_determinant) {
    MatrixReading at{.look = look,
                     .file = file,
                     .is_text = format == kAscii,
                     .takes_determinant = takes_determinant};
    RelationMatrix matrix;
    matrix.file = file;
    if (matrix.levels.allocate() != 0) throw std::bad_alloc();
    const int status = at.is_text ? at.text.open_input(file) : at.framed.open_input(file);
    if (status != 0) return matrix;
    read_all(at, matrix);
    at.bad.tell(look, file, "matrix-record", {"first identity", "second identity", "value"},
                "the matrix ends there for KVE1");
    if (at.n_commas > 0)
        look.findings.error("decimal-comma", matrix.place(at.first_comma),
                            fmt::format("a comma and a digit stand behind the value in {} lines: "
                                        "1,25 is read as 1",
                                        at.n_commas),
                            "Write 1.25");
    matrix.is_whole = !at.is_cut && at.bad.count() == 0;
    return matrix;
}

void sort_elements(RelationMatrix& matrix) {
    std::ranges::sort(matrix.elements, {},
                      [](const LevelElement& e) { return std::tuple(e.row, e.column, e.record); });
}

void keep_last_of_each_place(RelationMatrix& matrix) {
    std::vector<LevelElement>& all = matrix.elements;
    const auto last = std::unique(all.rbegin(), all.rend(),
                                  [](const auto& a, const auto& b) { return a.is_place_of(b); });
    all.erase(all.begin(), last.base());
}

}  // namespace kve::companion
