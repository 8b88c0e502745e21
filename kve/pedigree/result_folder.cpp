#include "kve/pedigree/result_folder.h"

#include <fmt/format.h>

#include <system_error>

#include "kve/shared/failure.h"

namespace kve::companion {

namespace fs = std::filesystem;

ResultFolder::ResultFolder(const std::string& folder) : folder_(folder) {
    std::error_code error;
    if (!folder.empty()) fs::create_directories(folder_, error);
    if (error) throw Failure(kUnreadable, fmt::format("{}: {}", folder, error.message()));
}

ResultFolder::~ResultFolder() {
    std::error_code ignored;
    if (!is_kept_)
        for (const std::string& name : names_) fs::remove(part(name), ignored);
}

void ResultFolder::remove(const std::string& name) const {
    std::error_code error;
    fs::remove(path(name), error);
    if (error)
        throw Failure(kUnreadable, fmt::format("{}: {}", path(name).string(), error.message()));
}

std::string ResultFolder::begin(const std::string& name) {
    names_.push_back(name);
    return part(name).string();
}

void ResultFolder::keep() {
    for (const std::string& name : names_) {
        std::error_code error;
        fs::rename(part(name), path(name), error);
        if (error)
            throw Failure(kUnreadable, fmt::format("{}: {}", path(name).string(), error.message()));
    }
    is_kept_ = true;
}

}  // namespace kve::companion
