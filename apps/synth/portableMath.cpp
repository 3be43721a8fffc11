#include "apps/synth/portableMath.h"

#include <cmath>
#include <limits>

namespace tamble::synth {
namespace {

// ln 2 split so that k * ln2High is exact for every exponent k of a double.
constexpr double ln2High = 6.93147180369123816490e-01;
constexpr double ln2Low = 1.90821492927058770002e-10;
constexpr double invLn2 = 1.44269504088896338700e+00;
// pi / 2 split in the same way.
constexpr double halfPiHigh = 1.57079632673412561417e+00;
constexpr double halfPiLow = 6.07710050650619224932e-11;
constexpr double invHalfPi = 6.36619772367581382433e-01;

// 1 / n! for n = 0 to 23, computed by the compiler.
struct factorials {
  double inverse[24] = {};
  constexpr factorials() {
    double f = 1.0;
    for (int n = 0; n < 24; ++n) {
      if (n > 0) f *= n;
      inverse[n] = 1.0 / f;
    }
  }
};
constexpr factorials table;

// exp(r) for |r| <= ln 2 / 2: the Taylor series to r^17 (the rest is below
// 1e-22), by Horner's rule.
double expNear0(double r) {
  double sum = table.inverse[17];
  for (int n = 16; n >= 0; --n) sum = sum * r + table.inverse[n];
  return sum;
}

// sin and cos for |r| <= pi / 4, by their series to r^23 and r^22 (the
// rest is below 1e-23), by Horner's rule in r^2.
double sinNear0(double r) {
  const double r2 = r * r;
  double sum = -table.inverse[23];
  for (int k = 10; k >= 0; --k) sum = sum * r2 + (k % 2 == 0 ? 1.0 : -1.0) * table.inverse[2 * k + 1];
  return sum * r;
}

double cosNear0(double r) {
  const double r2 = r * r;
  double sum = -table.inverse[22];
  for (int k = 10; k >= 0; --k) sum = sum * r2 + (k % 2 == 0 ? 1.0 : -1.0) * table.inverse[2 * k];
  return sum;
}

// x = k pi/2 + r with |r| <= pi/4 (for |x| up to about 1e9).
double reduceQuarter(double x, long& quadrant) {
  const double k = std::nearbyint(x * invHalfPi);
  quadrant = static_cast<long>(k);
  return (x - k * halfPiHigh) - k * halfPiLow;
}

std::uint64_t splitMix(std::uint64_t x) {
  x += 0x9E3779B97F4A7C15ull;
  x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ull;
  x = (x ^ (x >> 27)) * 0x94D049BB133111EBull;
  return x ^ (x >> 31);
}

}  // namespace

double portableExp(double x) {
  if (std::isnan(x)) return x;
  if (x > 709.78) return std::numeric_limits<double>::infinity();
  if (x < -745.2) return 0.0;
  const double k = std::nearbyint(x * invLn2);
  const double r = (x - k * ln2High) - k * ln2Low;
  return std::ldexp(expNear0(r), static_cast<int>(k));
}

double portableLog(double x) {
  if (!(x > 0.0)) return std::numeric_limits<double>::quiet_NaN();
  if (std::isinf(x)) return x;
  int e = 0;
  double m = std::frexp(x, &e);  // [0.5, 1)
  if (m < 0.70710678118654752440) {
    m *= 2.0;
    --e;
  }
  // log m = 2 atanh(s), s = (m - 1) / (m + 1), |s| <= 0.172: the odd series
  // to s^25 leaves less than 1e-20.
  const double s = (m - 1.0) / (m + 1.0);
  const double s2 = s * s;
  double sum = 1.0 / 25.0;
  for (int n = 23; n >= 1; n -= 2) sum = sum * s2 + 1.0 / n;
  const double logM = 2.0 * s * sum;
  return e * ln2High + (e * ln2Low + logM);
}

double portableSin(double x) {
  long q = 0;
  const double r = reduceQuarter(x, q);
  switch (q & 3) {
    case 0: return sinNear0(r);
    case 1: return cosNear0(r);
    case 2: return -sinNear0(r);
    default: return -cosNear0(r);
  }
}

double portableCos(double x) {
  long q = 0;
  const double r = reduceQuarter(x, q);
  switch (q & 3) {
    case 0: return cosNear0(r);
    case 1: return -sinNear0(r);
    case 2: return -cosNear0(r);
    default: return sinNear0(r);
  }
}

double portableTanh(double x) {
  if (x > 20.0) return 1.0;
  if (x < -20.0) return -1.0;
  const double e = portableExp(2.0 * x);
  return (e - 1.0) / (e + 1.0);
}

double smoothStep(double z) { return 0.5 * (1.0 + portableTanh(z)); }

std::uint64_t streamSeed(std::uint64_t seed, std::uint64_t stream, std::uint64_t row) {
  return splitMix(splitMix(splitMix(seed) ^ stream) ^ row);
}

double randomStream::uniform() { return static_cast<double>(engine() >> 11) * 0x1.0p-53; }

double randomStream::normal() {
  if (haveSpare) {
    haveSpare = false;
    return spare;
  }
  double u = 0.0, v = 0.0, s = 0.0;
  do {
    u = 2.0 * uniform() - 1.0;
    v = 2.0 * uniform() - 1.0;
    s = u * u + v * v;
  } while (s >= 1.0 || s == 0.0);
  const double f = std::sqrt(-2.0 * portableLog(s) / s);
  spare = v * f;
  haveSpare = true;
  return u * f;
}

double randomStream::poisson(double mean) {
  if (!(mean > 0.0)) return 0.0;
  if (mean < 30.0) {
    const double limit = portableExp(-mean);
    double product = uniform();
    double count = 0.0;
    while (product > limit) {
      product *= uniform();
      count += 1.0;
    }
    return count;
  }
  const double n = std::nearbyint(mean + std::sqrt(mean) * normal());
  return n > 0.0 ? n : 0.0;
}

}  // namespace tamble::synth
