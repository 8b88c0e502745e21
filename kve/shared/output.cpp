#include "kve/shared/output.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

#include "kve/shared/failure.h"

namespace kve::companion {

Output::Output(const std::string& file)
    : name_(file.empty() ? "standard output" : file),
      descriptor_(STDOUT_FILENO),
      buffer_(static_cast<char*>(std::malloc(kBufferBytes))) {
    if (buffer_ == nullptr) throw std::bad_alloc();
    if (file.empty()) return;
    descriptor_ = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor_ >= 0) return;
    std::free(buffer_);
    refuse(errno);
}

Output::~Output() {
    behind_.end();
    if (descriptor_ > STDERR_FILENO) ::close(descriptor_);
    std::free(buffer_);
}

void Output::refuse(int error) const {
    if (error == EPIPE) throw ClosedPipe();
    throw Failure(kUnreadable, name_ + ": " + std::strerror(error));
}

void Output::hand_over() {
    const int error = behind_.hand_over(descriptor_, buffer_, held_);
    if (error != 0) refuse(error);
    held_ = 0;
}

void Output::put_in_pieces(std::string_view text) {
    while (!text.empty()) {
        if (held_ == kBufferBytes) hand_over();
        const std::size_t n = text.copy(buffer_ + held_, kBufferBytes - held_);
        held_ += n;
        text.remove_prefix(n);
    }
}

void Output::finish() {
    int error = behind_.wait();
    if (error == 0) error = write_all(descriptor_, buffer_, held_);
    if (descriptor_ != STDOUT_FILENO && ::close(descriptor_) != 0 && error == 0) error = errno;
    descriptor_ = STDOUT_FILENO;
    held_ = 0;
    if (error != 0) refuse(error);
}

namespace {

constexpr int64_t kMillion = 1000000;
constexpr std::array<int64_t, 5> kPowers = {1, 10, 100, 1000, 10000};

// Null where the text with an exponent is shorter, or the digits are more than six.
char* put_decimal(char* at, int64_t digits, std::size_t decimals) {
    constexpr int64_t kTooLong = 100000, kTooSmall = 10;
    for (; decimals > 0 && digits % 10 == 0; --decimals) digits /= 10;
    if (digits >= kMillion || (decimals == 0 && digits >= kTooLong) ||
        (decimals == kPowers.size() - 1 && digits < kTooSmall))
        return nullptr;
    at = std::to_chars(at, at + kNumberBytes, digits / kPowers[decimals]).ptr;
    if (decimals == 0) return at;
    int64_t fraction = digits % kPowers[decimals];
    *at = '.';
    for (std::size_t k = decimals; k > 0; --k, fraction /= 10)
        at[k] = static_cast<char>('0' + fraction % 10);
    return at + decimals + 1;
}

}  // namespace

// Rounding gives the digits of a value that has no more than six, since it is off by less than half
// of one. They are the shortest ones, for no two numbers of six digits are the same real; and their
// quotient is never so near to the middle of two reals that its own rounding would matter.
char* ShortDecimals::put(char* at, float value) {
    constexpr int kMostOthers = 100;
    const double size = std::fabs(double{value});
    if (n_others_ > kMostOthers || !(size < kMillion) || (size == 0.0 && std::signbit(value)))
        return nullptr;
    for (std::size_t k = decimals_; k < kPowers.size(); ++k) {
        const auto power = static_cast<double>(kPowers[k]);
        const auto digits = static_cast<int64_t>(size * power + 0.5);
        if (digits >= 10 * kMillion) break;
        if (double{static_cast<float>(static_cast<double>(digits) / power)} != size) continue;
        decimals_ = k;
        n_others_ = 0;
        if (value < 0.0F) *at++ = '-';
        return put_decimal(at, digits, k);
    }
    ++n_others_;
    return nullptr;
}

}  // namespace kve::companion
