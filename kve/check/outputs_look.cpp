// The outputs that a run in the user's folder would make: none may be an input, and nothing may
// stand in its way.
#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "base/input.h"
#include "base/output_file.h"
#include "base/state.h"
#include "directives/directives.h"
#include "directives/file_identities.h"
#include "directives/section_files.h"
#include "kve/check/look.h"

namespace kve::companion {

READS(INLINE_TEXTS);
WRITES(INPUT_FOLDER);

namespace {

// As long as it lives the process stands in the user's folder with the user's directive file.
class InUsersFolder {
 public:
    explicit InUsersFolder(const Look& look) : before_(::open(".", O_RDONLY | O_CLOEXEC)) {
        stands_ = before_ >= 0 && ::chdir(look.outputs.c_str()) == 0;
        folder_ = INPUT_FOLDER;
        if (look.inputs == look.outputs) INPUT_FOLDER.clear();
        const int file = ::open(look.text.name().c_str(), O_RDONLY | O_CLOEXEC);
        if (file >= 0) static_cast<void>(::dup2(file, STDIN_FILENO));
        if (file >= 0) ::close(file);
    }
    InUsersFolder(const InUsersFolder&) = delete;
    InUsersFolder& operator=(const InUsersFolder&) = delete;
    ~InUsersFolder() {
        INPUT_FOLDER = folder_;
        if (before_ < 0) return;
        if (::fchdir(before_) != 0) INPUT_FOLDER.clear();
        ::close(before_);
    }
    bool stands() const { return stands_; }

 private:
    int before_;
    bool stands_ = false;
    std::string folder_;
};

void tell_shared(Look& look, const SharedFile& shared) {
    const Place place = place_of_name(look, shared.other);
    if (shared.is_input)
        look.findings.error("shared-file", place,
                            fmt::format("the run makes a file {}, and by name or by a link that is "
                                        "the input {}",
                                        shared.output, shared.other),
                            "Rename the input");
    else
        look.findings.error("shared-file", place,
                            fmt::format("the run makes {} and {}, which are one file by a link",
                                        shared.other, shared.output),
                            "Remove the link");
}

}  // namespace

void look_at_outputs(Look& look) {
    if (!look.reading.has_directives()) return;
    const InUsersFolder there(look);
    if (!there.stands()) return;
    std::vector<std::string> texts;
    texts.reserve(INLINE_TEXTS.size());
    for (const state::InlineText& section : INLINE_TEXTS) texts.push_back(section.file);
    for (const SharedFile& shared : find_shared_files(texts)) tell_shared(look, shared);
    for (const std::string& name : output_files())
        if (const int status = check_output(name); status != 0)
            look.findings.error(
                "output-blocked", {name, 0, 0},
                fmt::format("the run cannot make this file: {}", kve::words_of(status)));
}

}  // namespace kve::companion
