// What ends a render early.
#pragma once

#include <stdexcept>

/// Something the user wrote or asked for cannot be done; the text is the whole line to show.
struct bad_input : std::runtime_error {
    using std::runtime_error::runtime_error;
};
