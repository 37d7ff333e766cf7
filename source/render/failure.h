// What ends a render early.
#pragma once

#include <stdexcept>

/// Something the user wrote or asked for cannot be done; the text follows the program's name.
struct bad_input : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The same in a line of a score, which the text names in the place of the program.
struct bad_line : bad_input {
    using bad_input::bad_input;
};
