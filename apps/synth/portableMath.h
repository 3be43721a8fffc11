// Elementary functions and random numbers that give the same bits on every
// machine. They use nothing but +, -, *, / and the exactly rounded sqrt, in
// the order written (the build forbids fused multiply-adds), so a synthetic
// run does not depend on the C library's exp or log, nor on the standard
// library's distributions, whose results the language leaves open.
#pragma once

#include <cstdint>
#include <random>

namespace tamble::synth {

inline constexpr double pi = 3.14159265358979323846;

// Accurate to a few units in the last place over the whole double range.
double portableExp(double x);
// x > 0; NaN for x <= 0.
double portableLog(double x);
double portableSin(double x);
double portableCos(double x);
double portableTanh(double x);
// A smooth step from 0 to 1: (1 + tanh(z)) / 2.
double smoothStep(double z);

// The seed of one stream of random numbers: the run's seed, what the stream
// is for (an image, a pattern) and the row, mixed so that neighbouring rows
// and streams are unrelated. A row's numbers therefore never depend on the
// order in which threads take the rows.
std::uint64_t streamSeed(std::uint64_t seed, std::uint64_t stream, std::uint64_t row);

class randomStream {
 public:
  randomStream(std::uint64_t seed, std::uint64_t stream, std::uint64_t row)
      : engine(streamSeed(seed, stream, row)) {}

  // 53 random bits in [0, 1).
  double uniform();
  // A standard normal deviate (Marsaglia's polar method).
  double normal();
  // A Poisson count of the mean: exact (Knuth's product of uniforms) below a
  // mean of 30, the rounded normal approximation above, where the two
  // cannot be told apart in a camera frame.
  double poisson(double mean);

 private:
  std::mt19937_64 engine;
  bool haveSpare = false;
  double spare = 0.0;
};

}  // namespace tamble::synth
