/// How the program ends on what its user can mend.
#pragma once

#include <stdexcept>
#include <string>

namespace cali::host {

/// Wrong input: one line on standard error, exit status 2. The text names the input, what was found and what was
/// expected.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A calibration that gave no usable values: one line on standard error, exit status 1.
class CalibrationError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// An output that did not take what was written, as on a full disk: one line on standard error, exit status 1. The text
/// names the output.
class OutputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace cali::host
