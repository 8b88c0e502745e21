#include "directives/user_files.h"

#include <filesystem>
#include <string>
#include <system_error>

#include "base/input.h"
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
    return !name.blank() && std::filesystem::exists(input_path(name.string()), ignored);
}

void tell_missing(Keyword keyword, const FileName& name) {
    tell_fault("Error - %.*s file :%.*s not found", KVE_SV(keyword_name(keyword)),
               KVE_SV(name.view()));
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

void stop_pedigree_not_opened(int32_t factor, const FileName& name, int code) {
    tell_input_not_opened(name.view(), code);
    say("%9sERROR - The pedigree file for random factor%12d cannot be opened: %s", "", factor,
        name.string().c_str());
    stop_run();
}

}  // namespace kve
