// The quasi-Newton iteration of the calibration solver ("Foton Method"):
// numerical gradients, the BFGS update kept as an L D L^T factor that stays
// positive definite, and a line search that only ever accepts a lower F.
#include <algorithm>
#include <cmath>

#include "resect/searches.h"

namespace tamble {

ldlFactor::ldlFactor(int n_)
    : n(n_),
      packed(static_cast<std::size_t>(n_ * (n_ + 1) / 2)),
      w(static_cast<std::size_t>(n_)),
      p(static_cast<std::size_t>(n_)),
      t(static_cast<std::size_t>(n_ + 1)) {
  identity();
}

void ldlFactor::identity() {
  std::fill(packed.begin(), packed.end(), 0.0);
  for (int i = 0; i < n; ++i) at(i, i) = 1.0;
}

bool ldlFactor::positive() const {
  for (int i = 0; i < n; ++i)
    if (!(at(i, i) > 0.0)) return false;
  return true;
}

// Gill, Golub, Murray and Saunders: with t_1 = 1 and t_{j+1} = t_j + sigma
// p_j^2 / d_j, the new d_j is d_j t_{j+1} / t_j and column j of L gains
// beta_j w, beta_j = sigma p_j / (d_j t_{j+1}). For a negative sigma the t
// are taken backwards from a last one kept positive, so every d stays so.
void ldlFactor::update(double sigma, const double* z) {
  std::copy(z, z + n, w.begin());
  for (int i = 0; i < n; ++i) {  // L p = z
    double sum = z[i];
    for (int j = 0; j < i; ++j) sum -= at(i, j) * p[j];
    p[i] = sum;
  }
  if (sigma >= 0.0) {
    t[0] = 1.0;
    for (int j = 0; j < n; ++j) t[j + 1] = t[j] + sigma * p[j] * p[j] / at(j, j);
  } else {
    double last = 1.0;
    for (int j = 0; j < n; ++j) last += sigma * p[j] * p[j] / at(j, j);
    t[n] = std::max(last, 1e-12);
    for (int j = n - 1; j >= 0; --j) t[j] = t[j + 1] - sigma * p[j] * p[j] / at(j, j);
  }
  for (int j = 0; j < n; ++j) {
    const double d = at(j, j);
    const double beta = sigma * p[j] / (d * t[j + 1]);
    at(j, j) = d * t[j + 1] / t[j];
    for (int r = j + 1; r < n; ++r) {
      w[r] -= p[j] * at(r, j);
      at(r, j) += beta * w[r];
    }
  }
}

void ldlFactor::solve(const double* rhs, double* out) const {
  for (int i = 0; i < n; ++i) {
    double sum = rhs[i];
    for (int j = 0; j < i; ++j) sum -= at(i, j) * out[j];
    out[i] = sum;
  }
  for (int i = 0; i < n; ++i) out[i] /= at(i, i);
  for (int i = n - 1; i >= 0; --i) {
    double sum = out[i];
    for (int r = i + 1; r < n; ++r) sum -= at(r, i) * out[r];
    out[i] = sum;
  }
}

namespace {

constexpr double smallest = 9.537e-7;

// The objective with its count and limit; work vectors allocated once.
class iteration {
 public:
  iteration(const searchObjective& F_, int n_, long limit_)
      : F(F_), n(n_), limit(limit_), trial(static_cast<std::size_t>(n_)) {}

  double operator()(const double* x) {
    ++count;
    const double v = F(x);
    return std::isnan(v) ? HUGE_VAL : v;
  }
  bool spent() const { return count >= limit; }

  // Forward or central differences, steps of delta max(|x_j|, 0.1).
  void gradient(const double* x, double fx, bool central, double* g) {
    const double delta = std::sqrt(smallest);
    std::copy(x, x + n, trial.begin());
    for (int j = 0; j < n && !spent(); ++j) {
      const double h = delta * std::max(std::fabs(x[j]), 0.1);
      trial[j] = x[j] + h;
      const double up = (*this)(trial.data());
      if (central) {
        trial[j] = x[j] - h;
        g[j] = (up - (*this)(trial.data())) / (2.0 * h);
      } else {
        g[j] = (up - fx) / h;
      }
      trial[j] = x[j];
    }
  }

  // Along d from x (F there fx, slope dg < 0) from step t: doubles while F
  // keeps falling once it fell, else shrinks by the minimum of the parabola
  // through F(0), its slope and F(t), kept within a tenth and a half of t.
  // Moves x and fx on success.
  bool lineSearch(double* x, double& fx, const double* d, double dg, double t, double tmin) {
    for (;;) {
      if (t < tmin || spent()) return false;
      const double f1 = along(x, d, t);
      if (f1 < fx) {
        double best = f1;
        for (int k = 0; k < 30 && !spent(); ++k) {
          const double f2 = along(x, d, 2.0 * t);
          if (!(f2 < best)) break;
          best = f2;
          t *= 2.0;
        }
        for (int j = 0; j < n; ++j) x[j] += t * d[j];
        fx = best;
        return true;
      }
      const double curve = f1 - fx - dg * t;
      const double tq = curve > 0.0 ? -dg * t * t / (2.0 * curve) : 0.5 * t;
      t = std::clamp(tq, 0.1 * t, 0.5 * t);
    }
  }

  long count = 0;

 private:
  double along(const double* x, const double* d, double t) {
    for (int j = 0; j < n; ++j) trial[j] = x[j] + t * d[j];
    return (*this)(trial.data());
  }

  const searchObjective& F;
  int n;
  long limit;
  std::vector<double> trial;
};

double largestRelative(const double* d, const double* x, int n) {
  double gmax = 0.0;
  for (int j = 0; j < n; ++j)
    gmax = std::max(gmax, std::fabs(d[j]) / std::max(std::fabs(x[j]), 0.1));
  return gmax;
}

double dotOf(const std::vector<double>& a, const std::vector<double>& b) {
  double s = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) s += a[i] * b[i];
  return s;
}

}  // namespace

quasiNewtonResult quasiNewtonSearch(const searchObjective& F, int n, int digits,
                                    long maxEvaluations, int mode, double* x,
                                    const double* factor) {
  quasiNewtonResult result;
  ldlFactor B(n);
  if (mode == 1) {
    if (factor) std::copy(factor, factor + B.packed.size(), B.packed.begin());
    if (!factor || !B.positive()) {
      result.code = 129;
      return result;
    }
  }
  const double eps = std::pow(10.0, -digits);
  iteration it(F, n, maxEvaluations);
  const auto size = static_cast<std::size_t>(n);
  std::vector<double> g(size), gOld(size), d(size), xOld(size), y(size), minusG(size);
  double fx = it(x);
  double dF = 0.5 * std::fabs(fx);  // the decrease the first step hopes for
  double dgOld = 0.0, gmax = 0.0;
  bool central = false, moved = false;
  for (;;) {
    if (it.spent()) {
      result.code = 131;
      break;
    }
    it.gradient(x, fx, central, g.data());
    if (it.spent()) {
      result.code = 131;
      break;
    }
    if (moved) {  // BFGS: + y y^T / y.s, then + gOld gOld^T / d.gOld (negative)
      double ys = 0.0;
      for (int j = 0; j < n; ++j) {
        y[j] = g[j] - gOld[j];
        ys += y[j] * (x[j] - xOld[j]);
      }
      if (ys > 0.0) {
        B.update(1.0 / ys, y.data());
        B.update(1.0 / dgOld, gOld.data());
      }
    }
    for (int j = 0; j < n; ++j) minusG[j] = -g[j];
    B.solve(minusG.data(), d.data());
    gmax = largestRelative(d.data(), x, n);
    if (gmax <= eps) {
      result.code = 0;
      break;
    }
    const double dg = dotOf(d, g);
    std::copy(x, x + n, xOld.begin());
    const double fOld = fx;
    moved = false;
    if (dg < 0.0 && dF > 0.0) {
      double t = -2.0 * dF / dg;
      if (!(t > 0.0) || t > 1.0) t = 1.0;
      if (central) t = std::max(t, 0.1);
      moved = it.lineSearch(x, fx, d.data(), dg, t, eps / gmax);
    }
    if (!moved) {
      if (it.spent()) {
        result.code = 131;
        break;
      }
      if (!central) {
        central = true;
        continue;
      }
      result.code = 130;
      break;
    }
    dF = fOld - fx;
    gOld = g;
    dgOld = dg;
    ++result.iterations;
  }
  result.gradientNorm = std::sqrt(dotOf(g, g));
  result.evaluations = it.count;
  result.digits = -std::log10(std::max(gmax, smallest));
  return result;
}

}  // namespace tamble
