// The spectra and the amplitude transforms of the "Transform" menu.
#pragma once

namespace zel {
class imagesList;
}

namespace tamble {

bool Spectrum2DCommand(zel::imagesList& list);         // "2D Spectrum..."
bool PolarLogSpectrumCommand(zel::imagesList& list);   // "2D Polar-Log Spectrum..."
bool PhaseOnlyRetrieveCommand(zel::imagesList& list);  // "Phase Only Data Retrieve"
bool WhitenCommand(zel::imagesList& list);             // "Whiten/SoftFocus Transform..."
bool McClellanCommand(zel::imagesList& list);          // "McClellan Transform..."

}  // namespace tamble
