// How a source file names the shared tables it touches.
//
// Every global table lives in namespace kve::state, in the header of its owner. A source sees it
// only after naming it at its top:
//
//     READS(MODEL);  READS(RMAT);     // writing through these does not compile
//     WRITES(IFL);
//
// So the first lines of a file say what it may touch, and a search for WRITES(IFL) finds every
// writer of a table.
#pragma once

// Parentheses cannot stand around a name that is declared.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define READS(name) [[maybe_unused]] static constexpr const auto& name = kve::state::name
#define WRITES(name) [[maybe_unused]] static constexpr auto& name = kve::state::name
// NOLINTEND(bugprone-macro-parentheses)
