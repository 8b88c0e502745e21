// The stages between the open files and the first look at the data.
#pragma once

namespace kve {

// From the text of the model section to the checked model, restrictions included.
void understand_model();

}  // namespace kve
