// The files of relationship matrices: elements of the lower triangle.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kve/files/record_file.h"
#include "kve/files/run_folder.h"
#include "matrices/matrix_record.h"

namespace kve::companion {

using Element = MatrixRecord;
inline constexpr uintmax_t kElementBytes = sizeof(Element) + 8;  // with its frame

// Animals without progeny, and those that the user's file lacks, have no elements.
inline bool may_lack_levels(const RunFile& file) {
    return file.name.starts_with("AINV_RAM") || file.name.starts_with("DOM") ||
           file.name.starts_with("IBD");
}

class MatrixFile {
 public:
    // `order` is the number of levels of its factor.
    MatrixFile(const RunFolder& run, const RunFile& file)
        : order_(run.run().NRALEV(file.factor)),
          has_all_levels_(!may_lack_levels(file)),
          file_(run.path(), file.name) {
        if (file_.bytes() % kElementBytes != 0) file_.refuse("the file ends within a record");
    }

    bool next(Element& element) { return file_.next(element); }
    // Elements come in order and the file has no count: of one that is whole the last is that of
    // the last level. What is wrong otherwise; null when nothing is.
    const char* fault_at_end(const Element& last) const {
        if (!has_all_levels_ || order_ == 0 || (last.row == order_ && last.column == order_))
            return nullptr;
        return n_elements() == 0 ? "the file is empty"
                                 : "the last one, and the diagonal of the last level must follow";
    }
    void require_end(const Element& last) const {
        if (const char* fault = fault_at_end(last); fault != nullptr) file_.refuse(fault);
    }
    int64_t order() const { return order_; }
    bool is_outside(const Element& e) const {
        return e.row < 1 || e.row > order_ || e.column < 1 || e.column > order_;
    }
    uintmax_t n_elements() const { return file_.bytes() / kElementBytes; }
    [[noreturn]] void refuse(const std::string& words) const { file_.refuse(words); }

 private:
    int64_t order_;
    bool has_all_levels_;
    RecordFile file_;
};

// What can be told of a matrix when its elements have passed by in order.
class MatrixSummary {
 public:
    explicit MatrixSummary(int64_t levels) : order(levels) {}
    void add(const Element& e);
    void finish() { end_row(); }

    int64_t order;
    int64_t n_elements = 0, n_outside = 0, n_above = 0, n_unordered = 0;
    int64_t longest = 0, n_diagonals = 0;
    int32_t longest_row = 0;
    double smallest = 0.0, largest = 0.0;  // of the diagonal
    int64_t n_without_diagonal() const { return order - n_diagonals; }

 private:
    void end_row();

    Element last_{0, 0, 0.0};
    int64_t n_in_row_ = 0;
};

}  // namespace kve::companion
