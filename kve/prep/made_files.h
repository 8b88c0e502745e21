// The files that prep leaves, made in a folder of their own and moved to their places when all are
// whole: a run that ends before leaves those of an earlier one as they were.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "kve/prep/recipe.h"
#include "kve/prep/record_maker.h"
#include "kve/prep/relatives.h"
#include "kve/shared/result_folder.h"
#include "kve/tables/identities.h"

namespace kve::companion::prep {

inline constexpr const char *kDirectives = "run.kve", *kRejected = "rejected.tsv",
                            *kRecipe = "recipe.toml", *kIds = "ids.tsv";

class PartFolder {
 public:
    explicit PartFolder(const std::string& folder) : results_(folder) {}

    std::string file(const std::string& name) const { return (results_.work() / name).string(); }
    // Where it will be.
    std::filesystem::path place(const std::string& name) const { return results_.path(name); }
    // What is no result and goes with the folder.
    std::string temporary(const std::string& name) const { return file(name + ".tmp"); }
    // The directive file comes last, so that where it stands all others do.
    void move_to_places(const std::string& last);
    // Only this one, of a run that ends with findings.
    void move_only(const std::string& name, const std::string& last);
    // The results of an earlier run, with so many matrices at least, are to go away when those of
    // this one come. Failure when one of them is an input, or of another origin.
    void claim(std::size_t n_matrices, const std::vector<std::string>& inputs);
    // The table of identities when a pedigree of kve ped stands beside it, which has its codes;
    // otherwise empty.
    std::string ids_of_pedigree() const;

 private:
    ResultFolder results_;
};

// A written column of the data: where it stands among the integers or the reals, from 1.
struct Place {
    const Field* field;
    int number;
};
struct Layout {
    std::vector<Place> integers, reals;
};
Layout layout_of(const std::vector<Field>& fields);

// What all records had to be read for.
struct DataCounts {
    int64_t n_identities_without_record = 0;  // of the data that the pedigree lacks
};

// The data file out of the intermediate records.
DataCounts write_data(const Recipe& recipe, const std::vector<Field>& fields,
                      const std::vector<int32_t>& codes, const PedigreeTable* pedigree,
                      const std::string& intermediate, const std::string& file);

void write_pedigree(const PedigreeTable& pedigree, const std::vector<int32_t>& codes,
                    bool is_binary, const std::string& file);
void write_typed(const std::vector<int32_t>& typed, const std::vector<int32_t>& codes,
                 bool is_binary, const std::string& file);
void write_matrix(const std::vector<int32_t>& codes, bool is_binary,
                  const std::string& intermediate, const std::string& file);
// Names of the levels of all classes: columns column, name, code.
void write_classes(const std::vector<Field>& fields, const std::string& file);

// The names of the files in the folder.
struct FileNames {
    std::string data, pedigree, typed;
    std::vector<std::string> matrices;
};
void write_directives(const Recipe& recipe, const Layout& layout, const FileNames& names,
                      const std::string& file);

}  // namespace kve::companion::prep
