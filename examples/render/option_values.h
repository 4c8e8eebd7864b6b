// Values of options that are more than a number. All functions throw std::invalid_argument with what is wrong.
#pragma once

#include <string>

#include "job.h"

double parseNumber(const std::string &text, double low, double high);

// "1,2,-3.5"
Point parsePoint(const std::string &text);

// "#ff8000", as a screen shows it; the result is linear.
Rgb parseColour(const std::string &text);

// "30,45", "30,45,0.8", "30,45,0.8,#ffeecc"
LightOption parseLight(const std::string &text);
