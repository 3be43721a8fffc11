// The reference state of a single paint as the store keeps it, in section
// "ForSingle": key_unit_value, wind_on_refe_value, wind_off_refe_value and
// plane_approximation.
#pragma once

namespace tamble {

struct conversionState;

// Reads the four keys into the state, each with the state's value as default.
void loadForSingle(conversionState& s);
// Writes the four keys from the state.
void storeForSingle(const conversionState& s);

}  // namespace tamble
