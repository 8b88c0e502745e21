// A command of kve in the folder of a scratch.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "program/run.h"

struct Shown {
    int status;
    std::string out, words;
};

inline Shown kve(const Scratch& scratch, const std::string& arguments) {
    const std::string folder = scratch.folder().string();
    const int raw = std::system(
        ("cd '" + folder + "' && '" KVE_PROGRAM "' " + arguments + " >shown 2>words").c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : 1000 + WTERMSIG(raw), scratch.read("shown"),
            scratch.read("words")};
}

// kve prep tells these words, and makes nothing.
inline void expect_refused_recipe(const Scratch& scratch, const std::string& recipe,
                                  const std::string& words) {
    scratch.write("r.toml", recipe);
    const Shown shown = kve(scratch, "prep r.toml -o refused");
    EXPECT_EQ(shown.status, 2) << recipe;
    EXPECT_NE(shown.words.find(words), shown.words.npos) << recipe << shown.words;
    EXPECT_FALSE(exists(scratch.folder() / "refused")) << recipe;
}
