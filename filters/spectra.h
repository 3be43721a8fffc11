// The spectra of an image and the transforms that reshape its spectrum's
// amplitude while keeping the phase: whitening (soft focus with a negative
// power), the McClellan power law and the phase-only retrieval.
//
// All work on the square power-of-two canvas of filters/fft.h, the image
// placed in its centre with its edges repeated outwards.
#pragma once

#include "filters/fft.h"

namespace tamble {

// The amplitude spectrum of the whole field (masks are not consulted), zero
// frequency at (W/2, H/2), scaled to a peak of 1; with `logOutput` in dB,
// 0 down to -100. `removeMean` subtracts the mean first, `window` applies
// the radial Blackman window (negative weights as 0). A constant field with
// its mean removed has a peak of 0: the result is then not a number.
void SpectrumImage(spectrumField& field, bool removeMean, bool window, bool logOutput);

// Resamples the centred spectrum in polar-log coordinates: row r is the log
// radius from exp(-1) up to min(W, H)/2 - 1, column c the angle c pi / W (half
// a turn: the spectrum of a real image is symmetric). `bkgr` is set where the
// sample fell off the spectrum, and such pixels take the lowest value.
void PolarLogMap(spectrumField& field, spectrumMask& bkgr);

// The frame shared by the two amplitude transforms: the field on the canvas,
// the spectral step, back at the valid pixels (bkgr clear, ROI set), then
// every pixel rescaled so the field spans its old range again.
// Whiten: every spectral value divided by max(|z|^p, 1e-30); p < 0 is the
// soft focus effect.
void Whiten(spectrumField& field, const spectrumMask& bkgr, const spectrumMask& ROI, float p);
// McClellan: every amplitude raised to the power p, phases kept. Gives the
// notice "Original  Space Span=" max(W, H) "\nResulting Space Span=" N.
void McClellanTransform(spectrumField& field, const spectrumMask& bkgr, const spectrumMask& ROI,
                        float p);

// The spectral steps on the N by N work image, and the power law on a plane
// ("ForMcClellan: Zero Phase!" for every value that is exactly 0).
void WhitenSpectrum(spectrumField& work, int N, float p);
void McClellanSpectrum(spectrumField& work, int N, float p);
void ForMcClellan(ComplexPlane& data, int N, float p);

// The phase-only picture: bkgr cleared and ROI set everywhere, mean removed,
// whitened with power 1, smoothed by the Gauss of diameter 3, mean removed.
void PhaseOnlyRetrieve(spectrumField& field, spectrumMask& bkgr, spectrumMask& ROI);

}  // namespace tamble
