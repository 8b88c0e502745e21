// Arrays indexed from 1, as the tables and files of the package are.
//
//   Vec<T>       A(i)          a few start elsewhere: Vec<T, 0>, Vec<T, -1>
//   Matrix<T>    A(i, j)       column after column, the order of the files
//   Cube<T>      A(i, j, k)    first index fastest
//   Triangle<T>  A(i, j)       one triangle of a symmetric matrix, packed
//
// Allocation returns a status, 0 good, and clears: numbers to 0, texts to blank, records to their
// initial state. It never throws. With KVE_INDEX_CHECKS every access tests its indices and a bad
// one stops the program with the caller's line; in a release build an access is a plain load.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

#include "base/memory.h"

namespace kve {

#ifdef KVE_INDEX_CHECKS
// The builtins are those of both compilers; clang++ 14 has no std::source_location.
#define KVE_WHERE , const char *file = __builtin_FILE(), int line = __builtin_LINE()
#define KVE_CHECK_INDEX(i, first, last) check_index((i), (first), (last), file, line)
inline void check_index(int64_t i, int64_t first, int64_t last, const char* file, int line) {
    if (i >= first && i <= last) return;
    std::fprintf(stderr, "%s:%d: index %lld outside %lld..%lld\n", file, line,
                 static_cast<long long>(i), static_cast<long long>(first),
                 static_cast<long long>(last));
    std::abort();
}
#else
#define KVE_WHERE
#define KVE_CHECK_INDEX(i, first, last) static_cast<void>(0)
#endif

// Status of a failed allocation.
inline constexpr int kNoMemory = 1;

// A logical as the files hold it: four bytes, true is -1.
struct logical4 {
    int32_t raw;

    constexpr operator bool() const { return raw != 0; }
    constexpr logical4& operator=(bool value) {
        raw = value ? -1 : 0;
        return *this;
    }
};

template <class T, int First = 1>
class Vec {
 public:
    constexpr Vec() = default;
    Vec(const Vec&) = delete;
    Vec& operator=(const Vec&) = delete;
    Vec(Vec&& other) noexcept
        : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}
    Vec& operator=(Vec&& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        return *this;
    }
    ~Vec() { release(); }

    // Elements First .. First + n - 1, cleared; what the array held before is gone. A negative n
    // counts as 0.
    [[nodiscard]] int allocate(int64_t n) {
        release();
        if (n < 0) n = 0;
        data_ = static_cast<T*>(zeroed_memory(static_cast<std::size_t>(n), sizeof(T)));
        if (data_ == nullptr) return kNoMemory;
        size_ = n;
        if constexpr (!std::is_trivially_default_constructible_v<T>)
            for (int64_t k = 0; k < n; ++k) ::new (static_cast<void*>(data_ + k)) T();
        return 0;
    }

    // The same elements and behind them cleared ones, n together; an array that is as long already
    // stays as it is, and so does one when there is no memory.
    [[nodiscard]] int lengthen(int64_t n) {
        static_assert(std::is_trivially_copyable_v<T> &&
                      std::is_trivially_default_constructible_v<T>);
        if (n <= size_) return 0;
        void* longer = lengthened_memory(data_, static_cast<std::size_t>(size_),
                                         static_cast<std::size_t>(n), sizeof(T));
        if (longer == nullptr) return kNoMemory;
        data_ = static_cast<T*>(longer);
        size_ = n;
        return 0;
    }

    void release() {
        if constexpr (!std::is_trivially_destructible_v<T>)
            for (int64_t k = 0; k < size_; ++k) data_[k].~T();
        free_memory(data_, static_cast<std::size_t>(size_), sizeof(T));
        data_ = nullptr;
        size_ = 0;
    }

    void fill(const T& value) {
        for (T& element : *this) element = value;
    }

    T& operator()(int64_t i KVE_WHERE) {
        KVE_CHECK_INDEX(i, First, First + size_ - 1);
        return data_[i - First];
    }
    const T& operator()(int64_t i KVE_WHERE) const {
        KVE_CHECK_INDEX(i, First, First + size_ - 1);
        return data_[i - First];
    }

    int64_t size() const { return size_; }
    T* data() { return data_; }
    const T* data() const { return data_; }
    T* begin() { return data_; }
    T* end() { return data_ + size_; }
    const T* begin() const { return data_; }
    const T* end() const { return data_ + size_; }

 private:
    T* data_ = nullptr;
    int64_t size_ = 0;
};

// An extent of an array of several dimensions: 0 again when the array has moved away.
class Extent {
 public:
    constexpr Extent() = default;
    explicit Extent(int64_t n) : n_(n) {}
    Extent(const Extent&) = delete;
    Extent& operator=(const Extent&) = delete;
    Extent(Extent&& other) noexcept : n_(std::exchange(other.n_, 0)) {}
    Extent& operator=(Extent&& other) noexcept {
        std::swap(n_, other.n_);
        return *this;
    }
    ~Extent() = default;
    operator int64_t() const { return n_; }

 private:
    int64_t n_ = 0;
};

template <class T>
class Matrix {
 public:
    [[nodiscard]] int allocate(int64_t rows, int64_t columns) {
        release();
        rows = rows > 0 ? rows : 0;
        columns = columns > 0 ? columns : 0;
        if (columns > 0 && rows > std::numeric_limits<int64_t>::max() / columns) return kNoMemory;
        int status = all_.allocate(rows * columns);
        if (status != 0) return status;
        rows_ = Extent(rows);
        columns_ = Extent(columns);
        return 0;
    }
    void release() {
        all_.release();
        rows_ = Extent();
        columns_ = Extent();
    }
    void fill(const T& value) { all_.fill(value); }

    T& operator()(int64_t i, int64_t j KVE_WHERE) {
        KVE_CHECK_INDEX(i, 1, rows_);
        KVE_CHECK_INDEX(j, 1, columns_);
        return all_.data()[(j - 1) * rows_ + i - 1];
    }
    const T& operator()(int64_t i, int64_t j KVE_WHERE) const {
        KVE_CHECK_INDEX(i, 1, rows_);
        KVE_CHECK_INDEX(j, 1, columns_);
        return all_.data()[(j - 1) * rows_ + i - 1];
    }

    int64_t rows() const { return rows_; }
    int64_t columns() const { return columns_; }
    int64_t size() const { return all_.size(); }
    T* data() { return all_.data(); }
    const T* data() const { return all_.data(); }

 private:
    Vec<T> all_;
    Extent rows_;
    Extent columns_;
};

template <class T>
class Cube {
 public:
    [[nodiscard]] int allocate(int64_t rows, int64_t columns, int64_t layers) {
        release();
        rows = rows > 0 ? rows : 0;
        columns = columns > 0 ? columns : 0;
        layers = layers > 0 ? layers : 0;
        constexpr int64_t most = std::numeric_limits<int64_t>::max();
        if (columns > 0 && rows > most / columns) return kNoMemory;
        if (layers > 0 && rows * columns > most / layers) return kNoMemory;
        int status = all_.allocate(rows * columns * layers);
        if (status != 0) return status;
        rows_ = Extent(rows);
        columns_ = Extent(columns);
        layers_ = Extent(layers);
        return 0;
    }
    void release() {
        all_.release();
        rows_ = Extent();
        columns_ = Extent();
        layers_ = Extent();
    }
    void fill(const T& value) { all_.fill(value); }

    T& operator()(int64_t i, int64_t j, int64_t k KVE_WHERE) {
        KVE_CHECK_INDEX(i, 1, rows_);
        KVE_CHECK_INDEX(j, 1, columns_);
        KVE_CHECK_INDEX(k, 1, layers_);
        return all_.data()[((k - 1) * columns_ + j - 1) * rows_ + i - 1];
    }
    const T& operator()(int64_t i, int64_t j, int64_t k KVE_WHERE) const {
        KVE_CHECK_INDEX(i, 1, rows_);
        KVE_CHECK_INDEX(j, 1, columns_);
        KVE_CHECK_INDEX(k, 1, layers_);
        return all_.data()[((k - 1) * columns_ + j - 1) * rows_ + i - 1];
    }

    int64_t rows() const { return rows_; }
    int64_t columns() const { return columns_; }
    int64_t layers() const { return layers_; }
    int64_t size() const { return all_.size(); }
    T* data() { return all_.data(); }
    const T* data() const { return all_.data(); }

 private:
    Vec<T> all_;
    Extent rows_;
    Extent columns_;
    Extent layers_;
};

// Place of the pair (a, b), in either order, in a packed triangle: a + b(b-1)/2 with a <= b.
constexpr int64_t packed_index(int64_t a, int64_t b) {
    return a <= b ? a + b * (b - 1) / 2 : b + a * (a - 1) / 2;
}

template <class T>
class Triangle {
 public:
    [[nodiscard]] int allocate(int64_t order) {
        release();
        order = order > 0 ? order : 0;
        if (order > 0 && order > std::numeric_limits<int64_t>::max() / order - 1) return kNoMemory;
        int status = all_.allocate(order * (order + 1) / 2);
        if (status != 0) return status;
        order_ = Extent(order);
        return 0;
    }
    void release() {
        all_.release();
        order_ = Extent();
    }

    T& operator()(int64_t i, int64_t j KVE_WHERE) {
        KVE_CHECK_INDEX(i, 1, order_);
        KVE_CHECK_INDEX(j, 1, order_);
        return all_.data()[packed_index(i, j) - 1];
    }
    const T& operator()(int64_t i, int64_t j KVE_WHERE) const {
        KVE_CHECK_INDEX(i, 1, order_);
        KVE_CHECK_INDEX(j, 1, order_);
        return all_.data()[packed_index(i, j) - 1];
    }

    int64_t order() const { return order_; }
    int64_t size() const { return all_.size(); }
    T* data() { return all_.data(); }
    const T* data() const { return all_.data(); }

 private:
    Vec<T> all_;
    Extent order_;
};

}  // namespace kve
