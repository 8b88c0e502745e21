// Expects that a statement stops the run with status 16 and that the listing holds a text then (a
// regular expression). The listing goes where a death test looks.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#define EXPECT_STOP(statement, words)             \
    EXPECT_EXIT(                                  \
        {                                         \
            ::dup2(STDERR_FILENO, STDOUT_FILENO); \
            statement;                            \
        },                                        \
        testing::ExitedWithCode(16), words)
