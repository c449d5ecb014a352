#ifndef CURVE_H
#define CURVE_H

/// Stands for code that knows nothing of the feeder and was not built for it.
struct Curve
{
    explicit Curve(int first);
    ~Curve();

    int points[24];
};

Curve* MakeCurve(int first);

#endif
