// The input files of a small analysis that has something of everything: a data record has 4
// integers and 6 reals, and the identities 1 to `animals` are those of its second column.
#pragma once

#include <algorithm>
#include <map>
#include <string>

using Files = std::map<std::string, std::string>;

// The parents of each animal are four and five before it. A has 3 levels, B the animals, C 4.
inline Files input_files(int animals) {
    Files files{{"old", "1 2 7 1\n2 1 0 1 1 0 0 1\n4 1 0 1 7 0 0 2\n"},
                {"foreign", "3 -2 1 5 .5 -999999 0 -999999 0\n4 -2 9 5 .5 0 0 0 0\n"},
                {"four", "0 0 1\n1 1 2\n2 2 2\n3 3 2\n4 4 2\n1 3 .5\n"},
                {"dom", "0 0 1\n"}};
    const auto line = [](std::string& file, auto... items) {
        ((file += std::to_string(items) + " "), ...);
        file.back() = '\n';
    };
    for (int k = 0; k < 4 * animals; ++k)
        line(files["data"], 1 + 3 * k / (4 * animals), 1 + k % animals, 1 + k % 4, 1 + k % 2, 2, 1,
             k % 5, k, k % 2, 5);
    for (int k = 1; k <= animals; ++k) {
        const int sire = std::max(k - 4, 0), dam = std::max(k - 5, 0);
        line(files["ped"], k, sire, dam, k);
        line(files["grouped"], k, sire > 0 ? sire : -1, dam > 0 ? dam : -2, k);
        line(files["dom"], k, k, 2);
        if (k <= animals / 2) continue;
        line(files["typed"], k);
        line(files["genomic"], k, k, 1);
        if (k < animals) line(files["genomic"], k, k + 1, 0.125);
    }
    return files;
}
