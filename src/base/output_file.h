// Files that a run makes: what they may replace, and that they reach the disk.
#pragma once

#include <string>

namespace kve {

// What stands in the way of an output, beside the system's error numbers, which are above 0.
enum OutputFault : int { kNotAFile = -1, kLinkOutside = -2 };

// Can an output have this name? 0 when nothing has it or a file, also by a link to a file in the
// working directory. No name is opened for it, so a pipe does not make the run wait.
[[nodiscard]] int check_output(const std::string& path);

// Creates or empties the file. 0, or what check_output or the system says.
[[nodiscard]] int open_output(const std::string& path, int& descriptor);

// What was written to an output or a folder is on the disk then, as far as its file system can
// tell.
[[nodiscard]] int sync_to_disk(int descriptor);

// What stands in the way, in words that follow the name of the output.
std::string words_of(int status);

}  // namespace kve
