#pragma once

namespace kve {

// Refuses a run that needs a feature which this version does not have yet, so that nothing that the
// user asks for is passed over in silence. Reads the directives; stops the run.
void refuse_unavailable();

}  // namespace kve
