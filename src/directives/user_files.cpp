#include "directives/user_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>

#include "base/state.h"
#include "directives/directive_faults.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"

namespace kve {

WRITES(DIRECTIVES);

namespace {

bool exists(const FileName& name) {
    std::error_code ignored;
    return !name.blank() && std::filesystem::exists(name.string(), ignored);
}

void tell_missing(Keyword keyword, const FileName& name) {
    tell_fault("Error - %.*s file :%.*s not found", KVE_SV(keyword_name(keyword)),
               KVE_SV(name.view()));
}

// Only a regular file can be emptied.
bool is_standard_input(const std::string& file) {
    struct stat input, other;
    return ::fstat(STDIN_FILENO, &input) == 0 && S_ISREG(input.st_mode) &&
           ::stat(file.c_str(), &other) == 0 && input.st_dev == other.st_dev &&
           input.st_ino == other.st_ino;
}

}  // namespace

bool take_user_file(FileName& name) {
    if (name.blank()) return true;
    std::string whole = name.string();
    if (name.c[0] != '/' && !DIRECTIVES.ST_DIR.blank())
        whole = DIRECTIVES.ST_DIR.string() + "/" + whole;
    name = whole;
    DIRECTIVES.named_files.push_back(name);
    return whole.size() <= sizeof name.c;
}

void require_file(Keyword keyword, const FileName& name) {
    if (!exists(name)) tell_missing(keyword, name);
}

void find_user_file(Keyword keyword, FileName& name) {
    // A name cut short might be that of another file.
    if (take_user_file(name))
        require_file(keyword, name);
    else
        tell_missing(keyword, name);
}

bool is_same_file(const std::string& name, const std::string& other) {
    std::error_code absent;
    return std::filesystem::equivalent(name, other, absent);
}

bool is_input_file(const std::string& file) {
    const auto is_named = [&](const FileName& name) { return is_same_file(name.string(), file); };
    return std::any_of(DIRECTIVES.named_files.begin(), DIRECTIVES.named_files.end(), is_named) ||
           is_same_file("KVEDIM", file) || is_same_file("ST_DIR", file) || is_standard_input(file);
}

void stop_pedigree_not_opened(int32_t factor, const FileName& name) {
    say("%9sERROR - The pedigree file for random factor%12d cannot be opened: %s", "", factor,
        name.string().c_str());
    stop_run();
}

}  // namespace kve
