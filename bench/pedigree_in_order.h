// The least to do with a pedigree in text: read it, put it in order of birth, link the animals to
// their parents, and write matrix elements. It checks nothing: every parent needs a record of its
// own.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

inline constexpr std::size_t kBuffer = std::size_t{1} << 20;
inline constexpr std::size_t kAhead =
    16;  // what will be needed so many steps ahead is fetched early

struct Animal {
    std::int32_t id, sire, dam, birth;
};

// By level number from 1; level 0 is the unknown parent.
struct Parents {
    std::int32_t sire, dam;
};

inline std::size_t at(std::int32_t level) { return static_cast<std::size_t>(level); }

inline std::vector<Animal> read_pedigree(const char* path) {
    std::vector<char> buffer(kBuffer);
    std::vector<Animal> animals;
    int file = ::open(path, O_RDONLY);
    std::size_t held = 0;
    for (;;) {
        ssize_t got = ::read(file, buffer.data() + held, kBuffer - held);
        if (got <= 0) break;
        const char* from = buffer.data();
        const char* end = from + held + got;
        while (auto* line_end = static_cast<const char*>(
                   std::memchr(from, '\n', static_cast<std::size_t>(end - from)))) {
            std::int32_t values[4];
            for (std::int32_t& value : values) {
                while (*from == ' ') ++from;
                from = std::from_chars(from, line_end, value).ptr;
            }
            animals.push_back({values[0], values[1], values[2], values[3]});
            from = line_end + 1;
        }
        held = static_cast<std::size_t>(end - from);
        std::memmove(buffer.data(), from, held);
    }
    ::close(file);
    return animals;
}

// Radix sort; animals of one day stay in the order of the file.
inline void sort_by_birth(std::vector<Animal>& animals) {
    auto earlier = [](const Animal& a, const Animal& b) { return a.birth < b.birth; };
    if (std::is_sorted(animals.begin(), animals.end(), earlier)) return;
    auto [first, last] = std::minmax_element(animals.begin(), animals.end(), earlier);
    const std::int32_t base = first->birth;
    const std::uint32_t range = std::uint32_t(last->birth) - std::uint32_t(base);
    std::vector<Animal> sorted(animals.size());
    for (int shift = 0; shift < 32 && range >> shift != 0; shift += 8) {
        auto digit = [&](const Animal& a) {
            return (std::uint32_t(a.birth) - std::uint32_t(base)) >> shift & 255;
        };
        std::size_t place[257] = {};
        for (const Animal& a : animals) ++place[digit(a) + 1];
        for (int d = 0; d < 256; ++d) place[d + 1] += place[d];
        for (const Animal& a : animals) sorted[place[digit(a)]++] = a;
        animals.swap(sorted);
    }
}

// Level numbers by ID: open addressing, at most half full.
class Levels {
 public:
    explicit Levels(std::size_t n)
        : shift_(32 - static_cast<int>(std::bit_width(2 * n))), slots_(std::bit_ceil(2 * n + 1)) {}

    void fetch(std::int32_t id) const { __builtin_prefetch(&slots_[home(id)]); }
    void enter(std::int32_t id, std::int32_t level) { slots_[place(id)] = {id, level}; }
    std::int32_t find(std::int32_t id) const { return id <= 0 ? 0 : slots_[place(id)].level; }

 private:
    struct Slot {
        std::int32_t id = 0, level = 0;
    };
    std::size_t home(std::int32_t id) const {
        return std::uint32_t(id) * std::uint32_t{2654435769} >> shift_;
    }
    std::size_t place(std::int32_t id) const {
        std::size_t slot = home(id);
        while (slots_[slot].id != id && slots_[slot].id != 0)
            slot = (slot + 1) & (slots_.size() - 1);
        return slot;
    }
    int shift_;
    std::vector<Slot> slots_;
};

inline std::vector<Parents> link(const std::vector<Animal>& animals) {
    const std::size_t n = animals.size();
    Levels levels(n);
    for (std::size_t i = 0; i < n; ++i) {
        if (i + kAhead < n) levels.fetch(animals[i + kAhead].id);
        levels.enter(animals[i].id, static_cast<std::int32_t>(i + 1));
    }
    std::vector<Parents> parents(n + 1);
    for (std::size_t i = 0; i < n; ++i) {
        if (i + kAhead < n) {
            levels.fetch(animals[i + kAhead].sire);
            levels.fetch(animals[i + kAhead].dam);
        }
        parents[i + 1] = {levels.find(animals[i].sire), levels.find(animals[i].dam)};
    }
    return parents;
}

class ElementFile {
 public:
    explicit ElementFile(const char* path) : file_(std::fopen(path, "wb")), buffer_(kBuffer) {}

    void write(std::int32_t column, std::int32_t row, double value) {
        constexpr std::int32_t kLength = 16;
        if (held_ + 24 > buffer_.size()) flush();
        char* to = buffer_.data() + held_;
        std::memcpy(to, &kLength, 4);
        std::memcpy(to + 4, &column, 4);
        std::memcpy(to + 8, &row, 4);
        std::memcpy(to + 12, &value, 8);
        std::memcpy(to + 20, &kLength, 4);
        held_ += 24;
    }
    bool close() {
        flush();
        return file_ != nullptr && std::fclose(file_) == 0 && good_;
    }

 private:
    void flush() {
        good_ = good_ && std::fwrite(buffer_.data(), 1, held_, file_) == held_;
        held_ = 0;
    }
    std::FILE* file_;
    std::vector<char> buffer_;
    std::size_t held_ = 0;
    bool good_ = true;
};
