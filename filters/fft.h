// The two-dimensional Fourier transform that the spectra, the correlations
// and the whitening rest on, and the small operations on complex planes.
//
// A ComplexPlane holds an image of complex values row by row, the real and
// imaginary part of each value side by side: 2 * rows * columns floats. Every
// side is a power of two. The square work image of side N is an N by N field.
#pragma once

#include "api/arrayWorks.h"

namespace tamble {

using ComplexPlane = zel::arrayStore<float, 1>;
using spectrumField = zel::arrayStore<float, 2>;
using spectrumMask = zel::arrayStore<bool, 2>;

// The smallest power of two that is not below `size` (1 for sizes up to 1).
int powerOfTwoAbove(int size);

// In place, unscaled: out(k) = sum over n of in(n) * exp(sign * 2 pi i k.n / dims),
// sign +1 or -1; dims = {rows, columns}, ndim 2. The data and the twiddle
// factors it is multiplied by are floats; the twiddles come from a recurrence
// run in doubles. zel::DimError, before any change, for another ndim, a side
// that is not a power of two or a plane of another length.
void FFT2D(ComplexPlane& data, const int dims[2], int ndim, int sign);

// The N by N image into the real parts, 0 into the imaginary parts.
void ImageToComplex(const spectrumField& image, ComplexPlane& data, int N);
// |z| / (N N) and Re z / (N N) into the N by N image; the factor 1/(N N) is
// one float.
void ComplexModulus(const ComplexPlane& data, spectrumField& image, int N);
void ComplexRealPart(const ComplexPlane& data, spectrumField& image, int N);
// Flips the sign of every imaginary part.
void ComplexConjugate(ComplexPlane& data, int N);
// a := a * b, value by value; "CMulData: Error in Dimensions" for planes of
// different lengths, and nothing changes.
void CMulData(ComplexPlane& a, const ComplexPlane& b, int N);
// a := a * b / (|a| |b|), the product left as it is where |a| |b| is not above
// 0; "CNormData: Error in Dimensions" as above.
void CNormData(ComplexPlane& a, const ComplexPlane& b, int N);

// Exchanges the diagonal quadrants of the N by N image, so that the zero
// frequency moves to (N/2, N/2). A non-square image gives "quaterc: Error in
// Dimensions" and the exchange then covers the N by N corner when it fits in
// the image; an odd N does nothing.
void quaterc(spectrumField& image, int N);

// The N by N image takes its spectrum's modulus / (N N), zero frequency in
// the centre.
void Spectrum2D(spectrumField& image, int N);

// The N by N work image with `image` at ((N - W)/2, (N - H)/2) and the rest
// filled by repeating the nearest edge pixel, so that padding adds no step.
spectrumField squareCanvas(const spectrumField& image, int N);
// The W by H part of `canvas` at ((N - W)/2, (N - H)/2) into `image`.
void fromCanvas(const spectrumField& canvas, spectrumField& image);

// The radial Blackman window over a W by H image, centred on (W/2, H/2):
// M = min(W, H) - 1, radius limit M/2 - 1, 0 outside it. Inside, the weight
// may fall below 0 near the limit: `weight` answers it as it comes.
struct radialWindow {
  radialWindow(int W, int H);
  bool inside(int i, int j, float& weight) const;  // column i, row j
  int W, H;
  float rmax, a;
};

// The mean over all pixels: a float sum divided by the float pixel count.
float plainMean(const spectrumField& image);

}  // namespace tamble
