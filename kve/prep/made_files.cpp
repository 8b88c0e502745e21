#include "kve/prep/made_files.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>

#include "base/records.h"
#include "kve/shared/failure.h"
#include "kve/shared/output.h"
#include "kve/shared/table_text.h"

namespace kve::companion::prep {

namespace fs = std::filesystem;

namespace {

// All that a run with so many matrices may leave, and the matrices beyond them that an earlier run
// has left.
std::vector<std::string> names_to_claim(const ResultFolder& results, std::size_t n_matrices) {
    std::vector<std::string> names = {kIds, "classes.tsv", kRejected, kDirectives};
    std::vector<std::string> fronts = {"data", "pedigree", "typed"};
    std::error_code ignored;
    const auto is_there = [&](std::size_t k) {
        return fs::exists(results.path(fmt::format("matrix{}.txt", k)), ignored) ||
               fs::exists(results.path(fmt::format("matrix{}.bin", k)), ignored);
    };
    for (std::size_t k = 1; k <= n_matrices || is_there(k); ++k)
        fronts.push_back(fmt::format("matrix{}", k));
    for (const std::string& front : fronts)
        for (const char* end : {".txt", ".bin"}) names.push_back(front + end);
    return names;
}

}  // namespace

void PartFolder::claim(std::size_t n_matrices, const std::vector<std::string>& inputs) {
    std::error_code ignored;
    const bool is_ours = fs::exists(results_.path(kRejected), ignored);
    for (const std::string& name : names_to_claim(results_, n_matrices)) {
        if (!fs::exists(results_.path(name), ignored)) continue;
        for (const std::string& input : inputs)
            if (fs::equivalent(results_.path(name), input, ignored))
                throw Failure(kUsage, fmt::format("{}: is read, and would be written over", input));
        if (!is_ours && results_.path(name).string() != ids_of_pedigree())
            throw Failure(kUsage, fmt::format("{} is not of an earlier kve prep: -o wants another "
                                              "folder",
                                              results_.path(name).string()));
        results_.remove(name);
    }
}

std::string PartFolder::ids_of_pedigree() const {
    const fs::path ids = results_.path(kIds);
    std::error_code ignored;
    for (const fs::path& file : {ids, results_.path("pedigree"), results_.path("findings.tsv")})
        if (!fs::exists(file, ignored)) return {};
    return ids.string();
}

void PartFolder::move_to_places(const std::string& last) {
    for (const fs::directory_entry& entry : fs::directory_iterator(results_.work()))
        if (entry.path().extension() == ".tmp") fs::remove(entry.path());
    results_.keep(last);
}

void PartFolder::move_only(const std::string& name, const std::string& last) {
    for (const fs::directory_entry& entry : fs::directory_iterator(results_.work()))
        if (entry.path().filename() != name) fs::remove(entry.path());
    results_.keep(last);
}

Layout layout_of(const std::vector<Field>& fields) {
    Layout layout;
    for (const Field& field : fields) {
        if (!field.is_written) continue;
        std::vector<Place>& places = field.is_integer() ? layout.integers : layout.reals;
        places.push_back({&field, static_cast<int>(places.size()) + 1});
    }
    return layout;
}

namespace {

// Reads an intermediate file of equal records front to back. `take` has a record, and one some
// records on as far as it is at hand: for what should be on its way.
template <class Item, class Take>
void for_each_record(const std::string& file, std::size_t items, Take take) {
    constexpr std::size_t kRecords = 4096, kAhead = 16;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> in(std::fopen(file.c_str(), "rb"),
                                                             std::fclose);
    if (!in) throw Failure(kUnreadable, fmt::format("{}: {}", file, std::strerror(errno)));
    std::vector<Item> block(kRecords * items);
    while (const std::size_t n = std::fread(block.data(), items * sizeof(Item), kRecords, in.get()))
        for (std::size_t k = 0; k < n; ++k)
            take(std::span(block).subspan(k * items, items),
                 std::span(block).subspan(std::min(k + kAhead, n - 1) * items, items));
    if (std::ferror(in.get()) != 0) throw Failure(kUnreadable, file + ": cannot be read");
}

// Polynomials that are orthogonal over the records themselves, by their recurrence (Forsythe,
// 1957), scaled to a mean square of 1.
class Orthogonal {
 public:
    Orthogonal(std::string name, int degree) : name_(std::move(name)), degree_(degree) {}

    // Pass 0 finds the middle and the width, pass k + 1 the coefficients of degree k.
    void add(int pass, double x) {
        if (pass == 0) {
            sum_ += x;
            ++n_;
            low_ = std::fmin(low_, x);
            high_ = std::fmax(high_, x);
            return;
        }
        if (pass > degree_ + 1) return;
        const double t = scaled(x), p = value(pass - 1, t);
        squares_ += p * p;
        shifted_ += t * p * p;
    }
    void end_pass(int pass) {
        if (pass > degree_ + 1 || n_ == 0) return;
        if (pass == 0) {
            middle_ = sum_ / static_cast<double>(n_);
            width_ = high_ > low_ ? high_ - low_ : 1.0;
            return;
        }
        if (squares_ <= 1e-20 * static_cast<double>(n_))
            throw Failure(kUsage, fmt::format("{}: the records have too few different values for "
                                              "polynomials of order {}",
                                              name_, degree_));
        norms_.push_back(squares_);
        shifts_.push_back(shifted_ / squares_);
        squares_ = shifted_ = 0.0;
    }
    double at(int k, double x) const {
        return value(k, scaled(x)) /
               std::sqrt(norms_[static_cast<std::size_t>(k)] / static_cast<double>(n_));
    }
    int n_passes() const { return degree_ + 2; }

 private:
    double scaled(double x) const { return (x - middle_) / width_; }
    double value(int k, double t) const {
        double before = 0.0, now = 1.0;
        for (std::size_t j = 0; j < static_cast<std::size_t>(k); ++j) {
            const double ratio = j == 0 ? 0.0 : norms_[j] / norms_[j - 1];
            const double next = (t - shifts_[j]) * now - ratio * before;
            before = now;
            now = next;
        }
        return now;
    }

    std::string name_;
    int degree_;
    double sum_ = 0.0, low_ = std::numeric_limits<double>::infinity(), high_ = -low_, middle_ = 0.0,
           width_ = 1.0;
    int64_t n_ = 0;
    double squares_ = 0.0, shifted_ = 0.0;
    std::vector<double> norms_, shifts_;
};

// One written column, out of the slots of a record.
struct Maker {
    const Field* field;
    std::size_t slot;
    bool is_integer;
    const std::vector<int32_t>* codes = nullptr;  // of places
    std::shared_ptr<std::vector<int32_t>> counts;
    std::shared_ptr<Orthogonal> orthogonal;
};

Maker maker_of(const Field& field, const std::vector<Field>& fields,
               const std::vector<int32_t>& codes) {
    const Field& source = field.comes_last() ? fields[field.sources[0]] : field;
    Maker maker{&field, static_cast<std::size_t>(source.slot), field.is_integer(), nullptr, nullptr,
                nullptr};
    if (field.role == Role::identity) maker.codes = &codes;
    if (field.role == Role::klass) maker.codes = &field.classes->codes();
    if (!field.comes_last()) return maker;
    if (field.built->how == Building::count)
        maker.counts = std::make_shared<std::vector<int32_t>>();
    else if (field.part == 1)
        maker.orthogonal = std::make_shared<Orthogonal>(field.built->name, field.built->degree);
    return maker;
}

// Integers first, as in the data.
std::vector<Maker> makers_of(const std::vector<Field>& fields, const std::vector<int32_t>& codes) {
    std::vector<Maker> makers;
    for (const bool is_integer : {true, false})
        for (const Field& field : fields) {
            if (!field.is_written || field.is_integer() != is_integer) continue;
            Maker maker = maker_of(field, fields, codes);
            // The polynomials of one source are computed together.
            if (field.comes_last() && field.part > 1) maker.orthogonal = makers.back().orthogonal;
            makers.push_back(std::move(maker));
        }
    return makers;
}

double source_of(const Maker& maker, const std::vector<Field>& fields,
                 std::span<const Slot> record) {
    const Field& source = fields[maker.field->sources[0]];
    return source.role == Role::real ? static_cast<double>(record[maker.slot].real)
                                     : static_cast<double>(record[maker.slot].place);
}

int n_passes_of(const std::vector<Maker>& makers) {
    int n = 0;
    for (const Maker& maker : makers) {
        if (maker.counts) n = std::max(n, 1);
        if (maker.orthogonal) n = std::max(n, maker.orthogonal->n_passes());
    }
    return n;
}

void count_place(std::vector<int32_t>& counts, std::size_t place) {
    if (place >= counts.size()) counts.resize(2 * place + 1);
    ++counts[place];
}

void count_record(const std::vector<Field>& fields, const std::vector<Maker>& makers,
                  std::span<const Slot> record, int pass) {
    for (const Maker& maker : makers) {
        if (maker.counts && pass == 0) {
            count_place(*maker.counts, static_cast<std::size_t>(record[maker.slot].place));
        } else if (maker.orthogonal && maker.field->part == 1) {
            const double x = source_of(maker, fields, record);
            if (!std::isnan(x)) maker.orthogonal->add(pass, x);
        }
    }
}

void count_all(const std::vector<Field>& fields, const std::vector<Maker>& makers,
               const std::string& intermediate, std::size_t n_slots) {
    const int n_passes = n_passes_of(makers);
    for (int pass = 0; pass < n_passes; ++pass) {
        for_each_record<Slot>(intermediate, n_slots, [&](std::span<const Slot> record, auto) {
            count_record(fields, makers, record, pass);
        });
        for (const Maker& maker : makers)
            if (maker.orthogonal && maker.field->part == 1) maker.orthogonal->end_pass(pass);
    }
}

// Records in one of the two forms of KVE1.
class DataOutput {
 public:
    DataOutput(const std::string& file, bool is_binary) : file_(file), is_binary_(is_binary) {
        if (!is_binary)
            text_ = std::make_unique<Output>(file);
        else if (const int error = framed_.open(file); error != 0)
            refuse(error);
    }

    void begin(std::size_t bytes) {
        if (is_binary_) framed_.begin_record(bytes);
    }
    void put(int32_t value) {
        if (is_binary_) return framed_.put(&value, sizeof value);
        text_->take(put_number(begin_item(), value));
    }
    void put(float value) {
        if (is_binary_) return framed_.put(&value, sizeof value);
        text_->take(reals_.put(begin_item(), value));
    }
    void put(double value) {
        if (is_binary_) return framed_.put(&value, sizeof value);
        text_->take(doubles_.put(begin_item(), value));
    }
    void end() {
        is_first_ = true;
        if (is_binary_) return framed_.end_record();
        text_->put('\n');
    }
    void finish() {
        if (!is_binary_) return text_->finish();
        if (const int error = framed_.close(); error != 0) refuse(error);
    }

 private:
    char* begin_item() {
        char* at = text_->room(1 + kNumberBytes);
        if (!is_first_) *at++ = ' ';
        is_first_ = false;
        return at;
    }
    [[noreturn]] void refuse(int error) const {
        throw Failure(kUnreadable, fmt::format("{}: {}", file_, std::strerror(error)));
    }

    std::string file_;
    bool is_binary_, is_first_ = true;
    std::unique_ptr<Output> text_;
    RecordOutput framed_;
    RealTexts<float> reals_;
    RealTexts<double> doubles_;
};

[[noreturn]] void refuse_low(const Recipe& recipe, const Maker& maker, float value) {
    throw Failure(kUsage, fmt::format("{}: {} is {} in a record, at or below the code of missing "
                                      "values: give a lower missing_code",
                                      recipe.file, maker.field->name, value));
}

float count_of(const Maker& maker, std::span<const Slot> record) {
    const auto place = static_cast<std::size_t>(record[maker.slot].place);
    return place == 0 ? NAN : static_cast<float>((*maker.counts)[place]);
}

float polynomial_of(const Maker& maker, const std::vector<Field>& fields,
                    std::span<const Slot> record) {
    const double x = source_of(maker, fields, record);
    return std::isnan(x) ? NAN : static_cast<float>(maker.orthogonal->at(maker.field->part, x));
}

float real_of(const Recipe& recipe, const Maker& maker, const std::vector<Field>& fields,
              std::span<const Slot> record) {
    if (!maker.counts && !maker.orthogonal) return record[maker.slot].real;
    const float value =
        maker.counts ? count_of(maker, record) : polynomial_of(maker, fields, record);
    if (value <= static_cast<float>(recipe.missing_code)) refuse_low(recipe, maker, value);
    return value;
}

int32_t integer_of(const Maker& maker, Slot slot) {
    return maker.codes == nullptr ? slot.place
                                  : (*maker.codes)[static_cast<std::size_t>(slot.place)];
}

// Has integer_of find in the cache what it looks at some records on.
void fetch_codes(const std::vector<Maker>& makers, std::span<const Slot> ahead) {
    for (const Maker& maker : makers)
        if (maker.codes != nullptr)
            __builtin_prefetch(maker.codes->data() + ahead[maker.slot].place);
}

// The identities of the data that the pedigree lacks.
class Strangers {
 public:
    Strangers(const PedigreeTable* pedigree, std::size_t n_places)
        : pedigree_(pedigree), is_met_(pedigree != nullptr ? n_places : 0) {}

    void meet(int32_t place) {
        if (pedigree_ == nullptr || place == 0 || is_met_[static_cast<std::size_t>(place)]) return;
        is_met_[static_cast<std::size_t>(place)] = true;
        if (!pedigree_->animal(place).has_record()) ++n_;
    }
    int64_t n() const { return n_; }

 private:
    const PedigreeTable* pedigree_;
    std::vector<bool> is_met_;
    int64_t n_ = 0;
};

}  // namespace

DataCounts write_data(const Recipe& recipe, const std::vector<Field>& fields,
                      const std::vector<int32_t>& codes, const PedigreeTable* pedigree,
                      const std::string& intermediate, const std::string& file) {
    const auto n_slots = static_cast<std::size_t>(
        std::ranges::count_if(fields, [](const Field& field) { return field.slot >= 0; }));
    const std::vector<Maker> makers = makers_of(fields, codes);
    count_all(fields, makers, intermediate, n_slots);
    Strangers strangers(pedigree, codes.size());
    const auto missing = static_cast<float>(recipe.missing_code);
    DataOutput out(file, recipe.is_binary);
    const auto write_record = [&](std::span<const Slot> record, std::span<const Slot> ahead) {
        fetch_codes(makers, ahead);
        out.begin(4 * makers.size());
        for (const Maker& maker : makers) {
            if (maker.is_integer) {
                const Slot slot = record[maker.slot];
                out.put(integer_of(maker, slot));
                if (maker.codes == &codes) strangers.meet(slot.place);
            } else {
                const float value = real_of(recipe, maker, fields, record);
                out.put(std::isnan(value) ? missing : value);
            }
        }
        out.end();
    };
    for_each_record<Slot>(intermediate, n_slots, write_record);
    out.finish();
    return {strangers.n()};
}

void write_pedigree(const PedigreeTable& pedigree, const std::vector<int32_t>& codes,
                    bool is_binary, const std::string& file) {
    const auto code_of = [&](int32_t place) {
        return place > 0 ? codes[static_cast<std::size_t>(place)] : place;
    };
    DataOutput out(file, is_binary);
    for (const int32_t place : pedigree.in_file_order()) {
        const PedigreeTable::Animal& animal = pedigree.animal(place);
        out.begin(16);
        for (const int32_t value :
             {code_of(place), code_of(animal.sire), code_of(animal.dam), animal.sort})
            out.put(value);
        out.end();
    }
    out.finish();
}

void write_typed(const std::vector<int32_t>& typed, const std::vector<int32_t>& codes,
                 bool is_binary, const std::string& file) {
    DataOutput out(file, is_binary);
    for (const int32_t place : typed) {
        out.begin(4);
        out.put(codes[static_cast<std::size_t>(place)]);
        out.end();
    }
    out.finish();
}

void write_matrix(const std::vector<int32_t>& codes, bool is_binary,
                  const std::string& intermediate, const std::string& file) {
    DataOutput out(file, is_binary);
    for_each_record<MatrixElement>(intermediate, 1,
                                   [&](std::span<const MatrixElement> element, auto) {
                                       out.begin(16);
                                       out.put(codes[static_cast<std::size_t>(element[0].row)]);
                                       out.put(codes[static_cast<std::size_t>(element[0].column)]);
                                       out.put(element[0].value);
                                       out.end();
                                   });
    out.finish();
}

void write_classes(const std::vector<Field>& fields, const std::string& file) {
    Output out(file);
    out.put("column\tname\tcode\n");
    for (const Field& field : fields) {
        if (!field.is_written || !field.classes) continue;
        for (const int32_t place : field.classes->places_by_code()) {
            out.put(field.variable);
            out.put('\t');
            out.put(std::string_view(table_field(field.classes->name(place), '\t')));
            out.put('\t');
            out.put(field.classes->codes()[static_cast<std::size_t>(place)]);
            out.put('\n');
        }
    }
    out.finish();
}

}  // namespace kve::companion::prep
