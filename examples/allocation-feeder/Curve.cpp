#include "Curve.h"

Curve::Curve(int first)
{
    for (int& point : points) {
        point = first++;
    }
}

Curve::~Curve() { points[0] = 0; }

Curve* MakeCurve(int first) { return new Curve(first); }
