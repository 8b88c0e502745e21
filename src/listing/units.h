// The files of a run, by the package's unit numbers. Stage `open_files` opens them (sections of the
// directive file: the directive reader); the stages that own them read, write and close them; every
// stop flushes the output units.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/input.h"
#include "base/reading_ahead.h"
#include "base/records.h"

namespace kve {

// A listing file made of printed lines. They go the way of records, without frames: a failed write
// is kept and seen on close.
class TextOutput {
 public:
    // Creates or empties the file. 0 or what open_output tells.
    [[nodiscard]] int open(const std::string& path) { return lines_.open(path); }
    [[gnu::format(printf, 2, 3)]] void print(const char* format, ...);  // one line
    void print_line(std::string_view line);
    [[nodiscard]] int flush() { return lines_.flush(); }
    [[nodiscard]] int start_closing() { return lines_.start_closing(); }
    [[nodiscard]] int close() { return lines_.close(); }  // on the disk then
    bool is_open() const { return lines_.is_open(); }
    const std::string& path() const { return lines_.path(); }

 private:
    RecordOutput lines_;
};

// A file of the data, which holds all columns of a record or those of one kind.
struct DataFile {
    TextInput text;                       // ASCII
    RecordInput framed;                   // BINARY
    int32_t n_integers = 0, n_reals = 0;  // columns
    ReadingAhead records;                 // of the one that is open

    std::size_t used_bytes() const { return static_cast<std::size_t>(n_integers + n_reals) * 4; }
};

namespace state {

struct Units {
    DataFile data[2];
    TextInput old_solutions;        // old solutions
    TextInput foreign_information;  // foreign information
    TextOutput KVE_LOG;             // KVE_LOG
    TextOutput PEDDATA;             // PEDDATA
    TextOutput INBREED;             // INBREED
    TextInput model_text;           // the model description
    TextInput reduced_ranks;        // KVE1.reduce
    RecordOutput RCDATA_I;          // RCDATA_I
    RecordOutput RCDATA_R;          // RCDATA_R
    RecordOutput MODINF;            // MODINF
    RecordOutput CODE_TABLE;        // CODE_TABLE
    RecordOutput oldsol;            // oldsol
    RecordOutput RC_F_INFO;         // RC_F_INFO
};

// Not constinit, like the other globals that hold a std::string: its constructor is no constant
// expression for every compiler. No initialisation of a global reads another.
inline Units UNITS;

}  // namespace state

// The name of a file that a run makes for random factor k: prefix and number, cut to 12 characters.
std::string factor_file_name(std::string_view prefix, int32_t k);

// An output that could not be written: `status` is the system's error number or what open_output
// tells, 0 when all is well.
struct FailedOutput {
    std::string name;
    int status = 0;
};

// Brings everything written so far to the open files, or to the disk as they are closed; MODINF is
// left alone.
FailedOutput flush_units();
FailedOutput close_units();

}  // namespace kve
