// What is told once, with a number and the first animals of many.
#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <string>

namespace kve::companion {

// "1 parent has", "12 parents have".
inline std::string counted(int64_t n, const char* of_one, const char* of_many) {
    return fmt::format("{} {}", n, n == 1 ? of_one : of_many);
}

class FirstOnes {
 public:
    void take(int32_t id, int64_t line) {
        if (++n_ > kShown) return;
        words_ += fmt::format("{}{} (line {})", n_ == 1 ? "" : ", ", id, line);
        if (n_ == 1) line_ = line;
    }
    int64_t count() const { return n_; }
    std::string words() const { return words_ + (n_ > kShown ? ", ..." : ""); }
    int64_t line() const { return line_; }

 private:
    static constexpr int64_t kShown = 5;
    int64_t n_ = 0;
    int64_t line_ = 0;
    std::string words_;
};

}  // namespace kve::companion
