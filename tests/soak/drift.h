// How far the F0 phasor is from exact arithmetic after a long time.
#pragma once

#include <cstdint>

struct phasor_drift {
    double f0, rate;
    std::uint64_t samples;
    std::uint64_t wraps; // as the object counted them: fogs that it wanted to start
    double behind;       // the exact phase less its own, in Hz times samples
    double bound;        // of the magnitude of that

    double periods() const { return behind / rate; }
    double in_samples() const { return behind / f0; }
    bool holds() const { return behind <= bound && -behind <= bound; }
};

/// A phasor at a constant F0 from phase 0 on.
phasor_drift measure_drift(double f0, double rate, double hours);
