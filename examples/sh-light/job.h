// What vekr-sh-light does once it knows what is wanted.
#pragma once

#include <cstdint>
#include <string>

struct Arguments {
  std::string environment;
  std::string sky, reconstruction, irradiance, basis, coefficients;
  uint32_t highestBand = 4;
  std::string evaluator = "recurrent";
  int width = 512, height = 256;
  float exposure = 1.0f;
  int tile = 128;
  int threads = 0;
  bool print = false, quiet = false;
};

// Throws a UsageError for arguments that can't be meant together, std::exception for what fails.
void run(const Arguments &arguments);
