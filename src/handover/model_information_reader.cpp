#include "handover/model_information_reader.h"

#include <algorithm>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "base/arrays.h"
#include "base/text.h"
#include "directives/catalogue.h"

namespace kve {

namespace {

class Reader {
 public:
    explicit Reader(std::string_view bytes) : file_(bytes) {}

    template <class... Parts>
    void record(const Parts&... parts) {
        if (!good() || !next_record()) return;
        (take_part(parts), ...);
        if (good() && !rest_.empty()) refuse("has %zu bytes too many", rest_.size());
    }

    bool good() const { return fault_.empty(); }
    bool at_end() const { return file_.empty(); }
    std::string fault() {
        if (good() && !at_end()) {
            ++n_read_;
            refuse("is one too many");
        }
        return fault_;
    }

 private:
    [[gnu::format(printf, 2, 3)]] void refuse(const char* format, ...) {
        append(fault_, "record %d ", n_read_);
        std::va_list items;
        va_start(items, format);
        append_list(fault_, format, items);
        va_end(items);
    }

    bool next_record() {
        ++n_read_;
        if (file_.empty()) {
            refuse("is missing");
            return false;
        }
        int32_t length = 0, trailer = 0;
        constexpr std::size_t kFrame = sizeof length;
        const auto room = static_cast<int64_t>(file_.size()) - int64_t{2 * kFrame};
        if (room >= 0) std::memcpy(&length, file_.data(), kFrame);
        if (room < 0 || length < 0 || length > room) {
            refuse("is cut, or the file is no file of records");
            return false;
        }
        const auto n = static_cast<std::size_t>(length);
        std::memcpy(&trailer, file_.data() + kFrame + n, kFrame);
        if (trailer != length) refuse("has different lengths at its ends");
        rest_ = file_.substr(kFrame, n);
        file_.remove_prefix(n + 2 * kFrame);
        return good();
    }

    // The next bytes of the record; none when there are not so many.
    const char* cut(std::size_t n, std::string_view name) {
        if (n > rest_.size()) {
            refuse("ends before %.*s", KVE_SV(name));
            return nullptr;
        }
        const char* at = rest_.data();
        rest_.remove_prefix(n);
        return at;
    }

    template <class... Items>
    void take_part(const FieldGroup<Items...>& group) {
        for_each_field(group, [this](std::string_view name, const Extents& shape, auto& item) {
            if (good()) take(name, shape, item);
        });
    }
    template <class T>
    void take_part(const Constant<T>&) {
        if (good()) static_cast<void>(cut(sizeof(T), "its end"));
    }

    template <class T>
    void take(std::string_view name, const Extents&, T& item) {
        const char* from = cut(sizeof item, name);
        if (from != nullptr) std::memcpy(&item, from, sizeof item);
        if (from != nullptr) check(name, item);
    }
    void take(std::string_view name, const Extents& shape, Structure& item) {
        Text<12> text;
        take(name, shape, text);
        item = text == "I" ? Structure::I : structure_of(text.view());
        if (good() && item == Structure::unknown) refuse("has an unknown %.*s", KVE_SV(name));
    }
    template <class T>
    void take(std::string_view name, const Extents& shape, Vec<T>& array) {
        take_array(name, shape, array, [&] { return array.allocate(shape.n[0]); });
    }
    template <class T>
    void take(std::string_view name, const Extents& shape, Matrix<T>& array) {
        take_array(name, shape, array, [&] { return array.allocate(shape.n[0], shape.n[1]); });
    }
    template <class T>
    void take(std::string_view name, const Extents& shape, Cube<T>& array) {
        take_array(name, shape, array,
                   [&] { return array.allocate(shape.n[0], shape.n[1], shape.n[2]); });
    }

    // Nothing is allocated before the record is known to hold it.
    template <class Array, class Allocate>
    void take_array(std::string_view name, const Extents& shape, Array& array, Allocate allocate) {
        constexpr std::size_t size = sizeof(*array.data());
        std::size_t n = std::ranges::count(shape.n, 0) > 0 ? 0 : 1;
        for (int64_t extent : shape.n) {
            if (extent < 0) return refuse("has a negative number of %.*s", KVE_SV(name));
            if (n > 0 && n > rest_.size() / size / static_cast<std::size_t>(extent))
                return refuse("ends before %.*s", KVE_SV(name));
            n *= static_cast<std::size_t>(extent);
        }
        const char* from = cut(n * size, name);
        if (from == nullptr) return;
        if (allocate() != 0) return refuse("does not fit into the memory");
        if (n == 0) return;
        std::memcpy(array.data(), from, n * size);
        for (std::size_t k = 0; k < n; ++k) check(name, array.data()[k]);
    }

    template <class T>
    void check(std::string_view, const T&) {}
    void check(std::string_view name, const logical4& item) {
        if (good() && item.raw != 0 && item.raw != -1)
            refuse("has a logical that is neither true nor false: %.*s", KVE_SV(name));
    }
    template <int N>
    void check(std::string_view name, const Text<N>& item) {
        if (good() && item.padded().find('\0') != std::string_view::npos)
            refuse("has a zero byte in the text %.*s", KVE_SV(name));
    }

    std::string_view file_, rest_;  // what follows, in the file and in the record under way
    int32_t n_read_ = 0;
    std::string fault_;
};

}  // namespace

std::string read_model_information(std::string_view bytes, ModelInformation& into) {
    Reader file(bytes);
    describe_head(file, into.run);
    for (int32_t i = 1; i <= into.run.nt && file.good(); ++i)
        describe_trait(file, into.traits.emplace_back());
    for (int32_t k = 1; k <= into.run.NRAMAT && file.good(); ++k) {
        RMatrix& random = into.matrices.emplace_back();
        describe_matrix(file, random, true);
        into.run.most_members = std::max(into.run.most_members, random.n_traits);
    }
    RMatrix& residual = into.matrices.emplace_back();
    describe_matrix(file, residual, false);
    describe_tail(file, into.run, residual);
    return file.fault();
}

}  // namespace kve
