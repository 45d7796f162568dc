#pragma once

#include <functional>

// A uniform number from 0 up to but excluding 1.
double Rnd();

// Test seam: while set, Rnd returns what this gives.
void setRandomSource(std::function<double()> source);
