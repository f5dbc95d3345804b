// A mistake on the command line that shows only after it was read.
#ifndef VELMAR_USAGE_ERROR_H
#define VELMAR_USAGE_ERROR_H

#include <stdexcept>

// The text names the option and what it takes. Ends the program with the code of a usage error.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

#endif
