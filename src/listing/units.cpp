#include "listing/units.h"

#include <cerrno>
#include <cstdarg>

#include "base/output_file.h"
#include "base/state.h"

namespace kve {

WRITES(UNITS);

namespace {

constexpr std::size_t kBufferBytes = std::size_t{1} << 20;
constexpr std::size_t kLongestFactorFileName = 12;

// The name of one for which the deed failed, empty when all is well. MODINF comes by itself.
template <class Deed>
std::string for_all_outputs(const Deed& deed) {
    std::string failed;
    for (TextOutput* unit : {&UNITS.PEDDATA, &UNITS.INBREED})
        if (deed(*unit) != 0) failed = unit->path();
    for (RecordOutput* unit :
         {&UNITS.RCDATA_I, &UNITS.RCDATA_R, &UNITS.CODE_TABLE, &UNITS.oldsol, &UNITS.RC_F_INFO})
        if (deed(*unit) != 0) failed = unit->path();
    return failed;
}

}  // namespace

int TextOutput::open(const std::string& path) {
    static_cast<void>(close());
    path_ = path;
    error_ = 0;
    int descriptor = -1;
    if (const int status = open_output(path, descriptor); status != 0) return status;
    file_ = ::fdopen(descriptor, "w");
    if (file_ == nullptr) return errno;
    // INBREED has a line for each animal; without the larger buffer it is only slower.
    static_cast<void>(std::setvbuf(file_, nullptr, _IOFBF, kBufferBytes));
    return 0;
}

void TextOutput::print(const char* format, ...) {
    if (file_ == nullptr) return;
    std::va_list items;
    va_start(items, format);
    if (std::vfprintf(file_, format, items) < 0) error_ = errno;
    va_end(items);
    std::fputc('\n', file_);
}

void TextOutput::print_line(std::string_view line) {
    if (file_ == nullptr) return;
    std::fwrite(line.data(), 1, line.size(), file_);
    std::fputc('\n', file_);
}

int TextOutput::flush() {
    if (file_ == nullptr) return error_;
    if (std::fflush(file_) != 0 && error_ == 0) error_ = errno;
    if (std::ferror(file_) && error_ == 0) error_ = EIO;
    return error_;
}

int TextOutput::close() {
    if (file_ == nullptr) return error_;
    static_cast<void>(flush());
    if (error_ == 0) error_ = sync_to_disk(::fileno(file_));
    if (std::fclose(file_) != 0 && error_ == 0) error_ = errno;
    file_ = nullptr;
    return error_;
}

std::string factor_file_name(std::string_view prefix, int32_t k) {
    return (std::string(prefix) + std::to_string(k)).substr(0, kLongestFactorFileName);
}

std::string flush_units() {
    return for_all_outputs([](auto& unit) { return unit.is_open() ? unit.flush() : 0; });
}

std::string close_units() {
    return for_all_outputs([](auto& unit) { return unit.close(); });
}

}  // namespace kve
