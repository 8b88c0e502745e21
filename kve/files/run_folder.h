// The folder of a run: its model, and the files that the model promises.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "handover/model_information_reader.h"
#include "model/model_records.h"

namespace kve::companion {

enum class FileKind {
    model,
    integers,
    reals,
    codes,
    matrix,
    parents,
    inbreeding,
    old_solutions,
    foreign_information,
    section,
};

struct RunFile {
    std::string name;
    FileKind kind;
    int32_t factor = 0;  // random factor that it belongs to
};

class RunFolder {
 public:
    // Reads MODINF. What cannot be read, or holds numbers that lead nowhere, throws Failure.
    explicit RunFolder(const std::string& folder);

    const std::filesystem::path& path() const { return path_; }
    const RunInformation<Owned>& run() const { return model_.run; }
    std::span<const Model> traits() const { return model_.traits; }
    // The random ones. All numbers of traits and factors count from 1.
    std::span<const RMatrix> factors() const {
        return std::span(model_.matrices).first(model_.matrices.size() - 1);
    }
    std::span<const RMatrix> matrices() const { return model_.matrices; }  // the residual last
    const RMatrix& residual() const { return model_.matrices.back(); }
    const Model& trait(int32_t i) const { return traits()[static_cast<std::size_t>(i) - 1]; }
    const RMatrix& factor(int32_t k) const { return factors()[static_cast<std::size_t>(k) - 1]; }

    // In the order of the stages that make them.
    std::vector<RunFile> promised_files() const;

    // The user's name of a random factor: those of its effects.
    std::string factor_name(int32_t k) const;

    bool has_groups() const { return residual().structure == Structure::GROUP; }
    bool has_sequences() const;

 private:
    bool has_inbreeding() const;
    void add_factor_files(int32_t k, std::vector<RunFile>& files) const;

    std::filesystem::path path_;
    ModelInformation model_;
};

// A file that KVE1 makes, by its name alone, in some run or other.
bool is_name_of_run_file(const std::string& name);

}  // namespace kve::companion
