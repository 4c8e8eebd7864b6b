// Coefficients of light as text for other programs.
#pragma once

#include <string>

#include "lighting.h"
#include "output_file.h"

// A sentence why coefficients can't be written under this name: it ends neither in .json nor in .csv, or this build knows no
// JSON. Empty if they can.
std::string whyNoCoefficients(const std::string &path);

// Writes a file of one line for each function, or of one list for each colour, in the order of the library: function (l, m) at
// l*l + l + m. `source` tells where the light came from. The caller commits.
void writeCoefficients(const Harmonics &harmonics, const Coefficients &coefficients,
                       const std::string &source, vekr_example::OutputFile &output);
