#pragma once

#include "common/export.h"

namespace quill
{

/// Running statistics of a series of samples.
class QUILL_API BasicStats
{
  public:
    void add(double sample);

    /// Mean of the samples; 0 when there are none.
    double getMean() const;
    /// Standard deviation of the samples as a whole population (divided by the count, not by the
    /// count minus one); 0 when there are none.
    double getStdDev() const;

  private:
    double count = 0;
    double sum = 0;
    double sumOfSquares = 0;
};

}  // namespace quill
