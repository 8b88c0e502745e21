#include "directives/file_identities.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <system_error>

#include "base/input.h"
#include "base/state.h"
#include "base/text.h"
#include "directives/directives.h"
#include "listing/listing.h"
#include "listing/stop.h"
#include "listing/units.h"

namespace kve {

READS(DIRECTIVES);
WRITES(INPUT_STATES);

namespace {

constexpr int kMostLinks = 40;  // as many as the system follows

using Names = std::map<FileIdentity, std::string>;

// The name at which the system would make a file: that at the end of links to nothing.
std::filesystem::path end_of_links(std::filesystem::path name) {
    std::error_code none;
    for (int k = 0; k < kMostLinks; ++k) {
        const std::filesystem::path target = std::filesystem::read_symlink(name, none);
        if (none) break;
        name = name.parent_path() / target;
    }
    return name;
}

// Nobody can open such a name as it stands.
bool tells_absence(int code) {
    return code == ENOENT || code == ENOTDIR || code == EACCES || code == ELOOP ||
           code == ENAMETOOLONG;
}

FileIdentity identity_in(const struct stat& about) { return {about.st_dev, about.st_ino, {}}; }

// Of a stream that was redirected to or from a file; pipes and devices are none.
void enter_stream(Names& names, int descriptor, const char* what) {
    struct stat about;
    if (::fstat(descriptor, &about) == 0 && S_ISREG(about.st_mode))
        names.emplace(identity_in(about), what);
}

Names input_files() {
    Names names;
    for (const FileName& name : DIRECTIVES.named_files)
        if (!name.blank()) names.emplace(identity_of(input_path(name.string())), name.string());
    for (const char* name : {"KVEDIM", "ST_DIR"})
        names.emplace(identity_of(input_path(name)), name);
    enter_stream(names, STDIN_FILENO, "the directive file");
    return names;
}

// Files of a factor, by the structure that makes them.
struct FactorOutput {
    Structure structure;
    const char* prefix;
};
constexpr FactorOutput kFactorOutputs[] = {
    {Structure::PED, "AINV"},        {Structure::PED, "AINV_RAM"}, {Structure::PED, "PEDFILE"},
    {Structure::PGMIX, "PGMIX"},     {Structure::COR, "COR"},      {Structure::COR, "MISS_ID"},
    {Structure::DOM, "DOM"},         {Structure::DOM, "MISS_ID"},  {Structure::ABS_QTL, "IBD"},
    {Structure::ABS_QTL, "MISS_ID"}, {Structure::GREL, "GINV"},    {Structure::GREL, "MISS_ID"},
};

[[noreturn]] void stop_changed(const std::string& name, const std::string& what) {
    say("ERROR - the file %s has changed while the run needed it: %s", name.c_str(), what.c_str());
    say("        Leave the inputs alone until the run has ended, and run again");
    stop_run();
}

// False, with the reason in errno, when there is no such file, or one that cannot be an input.
bool find_state(const std::string& path, state::InputState& now) {
    struct stat about;
    if (::stat(path.c_str(), &about) != 0) return false;
    errno = S_ISDIR(about.st_mode) ? EISDIR : ESPIPE;
    if (!S_ISREG(about.st_mode)) return false;
    now = {path, identity_in(about), about.st_size, {about.st_mtim.tv_sec, about.st_mtim.tv_nsec}};
    return true;
}

void compare_states(const std::string& name, const state::InputState& then) {
    state::InputState now;
    if (!find_state(then.path, now)) stop_changed(name, std::strerror(errno));
    if (now.identity != then.identity) stop_changed(name, "another file has its name");
    if (now.bytes != then.bytes) stop_changed(name, "it has another size");
    if (now.written != then.written) stop_changed(name, "it was written to");
}

}  // namespace

FileIdentity identity_of(const std::string& name) {
    struct stat about;
    if (::stat(name.c_str(), &about) == 0)
        return S_ISREG(about.st_mode) ? identity_in(about) : FileIdentity{0, 0, name};
    // What may be an input is not replaced because the system could not tell.
    if (!tells_absence(errno)) stop_not_read(name, errno);
    const std::filesystem::path end = end_of_links(name);
    const std::string folder = end.has_parent_path() ? end.parent_path().string() : ".";
    if (::stat(folder.c_str(), &about) != 0) return {0, 0, end.string()};
    return {about.st_dev, about.st_ino, end.filename().string()};
}

bool is_same_file(const std::string& name, const std::string& other) {
    return identity_of(name) == identity_of(other);
}

bool is_input_file(const std::string& file) { return input_files().contains(identity_of(file)); }

bool is_listing(const std::string& file) {
    Names listing;
    enter_stream(listing, STDOUT_FILENO, "");
    return listing.contains(identity_of(file));
}

std::vector<std::string> output_files() {
    std::vector<std::string> names{"KVE_LOG",    "PEDDATA",  "INBREED", "MODINF",
                                   "CODE_TABLE", "RCDATA_I", "RCDATA_R"};
    if (!DIRECTIVES.finfo.name.blank()) names.emplace_back("RC_F_INFO");
    if (!DIRECTIVES.oldsol.name.blank()) names.emplace_back("oldsol");
    for (const VAR_STR_SPEC& spec : DIRECTIVES.var_str)
        for (const FactorOutput& output : kFactorOutputs)
            if (output.structure == spec.structure)
                names.push_back(factor_file_name(output.prefix, spec.factor));
    return names;
}

std::vector<SharedFile> find_shared_files(const std::vector<std::string>& text_files) {
    const Names inputs = input_files();
    Names outputs;
    enter_stream(outputs, STDOUT_FILENO, "of the listing");
    std::vector<SharedFile> shared;
    for (const auto& [identity, listing] : outputs)
        if (const auto input = inputs.find(identity); input != inputs.end())
            shared.push_back({listing, input->second, true});
    std::vector<std::string> names = text_files;
    names.emplace_back("CVREST.DIR");  // deleted, whoever has made it
    for (std::string& name : output_files()) names.push_back(std::move(name));
    for (const std::string& name : names) {
        const FileIdentity identity = identity_of(name);
        const auto [other, is_new] = outputs.emplace(identity, name);
        if (!is_new && other->second == name) continue;
        const auto input = inputs.find(identity);
        if (input != inputs.end())
            shared.push_back({name, input->second, true});
        else if (!is_new)
            shared.push_back({name, other->second, false});
    }
    return shared;
}

void note_input(const std::string& name) { note_input(name, input_path(name)); }

void note_input(const std::string& name, const std::string& path) {
    if (state::InputState now; find_state(path, now)) INPUT_STATES.emplace(name, now);
}

void check_input(const std::string& name) {
    const auto then = INPUT_STATES.find(name);
    if (then != INPUT_STATES.end()) compare_states(name, then->second);
}

void check_inputs() {
    for (const auto& [name, then] : INPUT_STATES) compare_states(name, then);
}

void check_second_reading(const std::string& name, int64_t n_first, int64_t n_second) {
    check_input(name);
    if (n_first == n_second) return;
    std::string counts;
    append(counts, "%lld records at first, %lld when it was read again",
           static_cast<long long>(n_first), static_cast<long long>(n_second));
    stop_changed(name, counts);
}

}  // namespace kve
