#include "frequencyspectrum.h"

FrequencySpectrum::FrequencySpectrum(int numPoints) : elements(qMax(numPoints, 0)) {}

void FrequencySpectrum::reset()
{
    std::fill(elements.begin(), elements.end(), Element());
}
