// The files of a run, told apart by device and inode and not by name: which it reads, which it
// makes, and whether an input is still what it was when the run first opened it.
#pragma once

#include <sys/types.h>

#include <compare>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "base/state.h"
#include "base/text.h"

namespace kve {

// A file by device and inode. Where there is none yet: the folder's, and the name that a new file
// would get there, at the end of a link too. Devices, pipes and folders, which nobody can empty,
// are told by name.
struct FileIdentity {
    dev_t device = 0;
    ino_t inode = 0;
    std::string name_of_new;

    auto operator<=>(const FileIdentity&) const = default;
};

FileIdentity identity_of(const std::string& name);

// Two names of one file.
bool is_same_file(const std::string& name, const std::string& other);

// Is `file` one that this run reads: named on a keyword line, read ahead of the directives, or the
// directive file itself? Its own inline texts do not count.
bool is_input_file(const std::string& file);

// Is it the one to which the listing goes?
bool is_listing(const std::string& file);

// Names of the files that this run makes or empties after the directive file, also those for which
// there may be no occasion.
std::vector<std::string> output_files();

// An output that is one file with an input or with another output.
struct SharedFile {
    std::string output;
    std::string other;
    bool is_input;  // the other one
};

// Of the listing, the files of the given inline texts and all that later stages make, empty or
// delete. To be asked when the directives are read, before the first of them is opened.
std::vector<SharedFile> find_shared_files(const std::vector<std::string>& text_files);

namespace state {

// An input as it was before the run first opened it.
struct InputState {
    std::string path;
    FileIdentity identity;
    int64_t bytes;
    std::pair<int64_t, int64_t> written;  // seconds, nanoseconds
};
inline std::map<std::string, InputState> INPUT_STATES;  // by name, as the user writes it

}  // namespace state

// Ahead of the first opening of an input: its state is what all later ones are compared with. A
// text of this run's own lies at `path`.
void note_input(const std::string& name);
void note_input(const std::string& name, const std::string& path);

// Stops the run when an input, or any of them, has changed since it was noted, or is gone. Ahead of
// each reading but the first, and at the end.
void check_input(const std::string& name);
void check_inputs();

// After an input was read again: stops the run when it has changed, or had another number of
// records.
void check_second_reading(const std::string& name, int64_t n_first, int64_t n_second);

}  // namespace kve
