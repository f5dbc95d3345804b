// What a take is, as a JSON text for whoever makes its arrays.
#ifndef VELMAR_PYTHON_TAKE_PROPERTIES_H
#define VELMAR_PYTHON_TAKE_PROPERTIES_H

#include <string>

#include "take/Take.h"

// {"name", "slots", "rate", "rate_source", "markers", "rigid_bodies", "bones": labels, "plates", "channels",
// "damage", "concerns", "statistics"}. Bytes of names that are no UTF-8 become replacement characters; no two
// labels of a list are equal.
std::string TakeProperties(const Take& take);

#endif
