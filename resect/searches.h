// The two searches of the calibration solver, on any objective of n
// parameters: the downhill simplex ("Configuration Method") and the
// quasi-Newton iteration with numerical gradients ("Foton Method"), with the
// factor of its Hessian approximation.
#pragma once

#include <functional>
#include <vector>

namespace tamble {

// The value to be made small at a point of n parameters. An evaluation that
// is not a number counts as +infinity.
using searchObjective = std::function<double(const double*)>;

// A symmetric matrix held as L D L^T: L unit lower triangular, D diagonal,
// packed row by row into one triangle (element (i, j), j <= i, at
// i (i + 1) / 2 + j; D on the diagonal, L below it).
class ldlFactor {
 public:
  explicit ldlFactor(int n);
  void identity();
  // The factor of L D L^T + sigma z z^T. A negative sigma whose result would
  // not be positive definite leaves a factor that still is (its last
  // diagonal element small but positive).
  void update(double sigma, const double* z);
  // Solves L D L^T out = rhs.
  void solve(const double* rhs, double* out) const;
  bool positive() const;

  int n;
  std::vector<double> packed;

 private:
  std::vector<double> w, p, t;  // work of update
  double& at(int i, int j) { return packed[static_cast<std::size_t>(i * (i + 1) / 2 + j)]; }
  double at(int i, int j) const { return packed[static_cast<std::size_t>(i * (i + 1) / 2 + j)]; }
};

// The simplex of n + 1 vertices, best first, and the work of one step.
struct simplexState {
  explicit simplexState(int n);
  int n;
  std::vector<double> vertices;  // (n + 1) rows of n
  std::vector<double> values;    // F of each vertex
  std::vector<double> centre, reflected, expanded, contracted, swap;
  double* vertex(int i) { return &vertices[static_cast<std::size_t>(i * n)]; }
  // Orders the vertices by F, best first; ties keep their order.
  void sort();
};

// One step: reflection of the worst vertex through the centre of the
// others, expansion, contraction or shrinking towards the best; then the
// vertices are sorted again.
void simplexStep(simplexState& s, const searchObjective& F);

struct simplexResult {
  int steps = 0;       // steps made
  double value = 0.0;  // F at the result, evaluated once more there
};

// Vertex 0 at x - h scale in every coordinate, vertex k at x with
// coordinate k - 1 raised by h scale[k - 1]. Steps until, in every
// coordinate j, tolerance[j] >= the spread of the vertices (so a negative
// tolerance is never met), or `maxSteps` steps. x becomes the best vertex.
simplexResult simplexSearch(const searchObjective& F, int n, double* x, const double* scale,
                            double h, int maxSteps, const double* tolerance);

struct quasiNewtonResult {
  int code = 0;               // 0 converged, 129 factor not positive, 130 no descent, 131 limit
  double gradientNorm = 0.0;  // of the last gradient
  long evaluations = 0;
  double digits = 0.0;  // -log10(max(gmax, 9.537e-7)) of the last step
  int iterations = 0;   // steps that moved
};

// Quasi-Newton iteration from x with forward (later central) difference
// gradients and the BFGS update of an L D L^T factor; ends when the largest
// relative step falls to 10^-digits (code 0), when no step lowers F any
// more (130) or after `maxEvaluations` evaluations (131). Mode 0 starts the
// factor as the identity; mode 1 starts from `factor` (packed as in
// ldlFactor), and ends at once with 129 when it is not positive definite.
// x becomes the last point reached, which is never worse than the start.
quasiNewtonResult quasiNewtonSearch(const searchObjective& F, int n, int digits,
                                    long maxEvaluations, int mode, double* x,
                                    const double* factor = nullptr);

}  // namespace tamble
