// Stage settle_method: AI-REML finds its way by the equations of the model and cannot begin without
// any. In a model without effects EM-REML takes its place.
//
// Reads MODEL. Writes IMETHOD and method_changed of DIRECTIVES. Nothing stops it.
#pragma once

namespace kve {

void settle_method();

}  // namespace kve
