// Warnings of the data summary about records that are not what they seem.
#pragma once

namespace kve {

void warn_odd_records();

}  // namespace kve
