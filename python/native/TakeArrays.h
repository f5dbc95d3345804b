// The frames of a take as rows of arrays.
#ifndef VELMAR_PYTHON_TAKE_ARRAYS_H
#define VELMAR_PYTHON_TAKE_ARRAYS_H

#include <cstddef>
#include <vector>

#include "TakeInterface.h"
#include "take/TakeFrames.h"

class TakeArrays {
public:
    // Of all arrays together.
    static std::size_t ValuesInSlot(const Take& take);

    // The take must outlive it. `latestNumber` is that of the frame before the first row.
    TakeArrays(const Take& take, const VelmarTakeArrays& arrays, long long latestNumber);

    void Add(const TakeFrame& item); // as the next row

    long long LatestNumber() const { return m_latestNumber; }

private:
    void AddMarkers(const sFrameOfMocapData* frame);
    void AddBodies(const sFrameOfMocapData* frame);
    void AddPlates(const TakeFrame& item);
    void AddAnalog(const sFrameOfMocapData* frame);

    const Take& m_take;
    VelmarTakeArrays m_next; // where the next row goes in each
    long long m_latestNumber;
    MarkerColumns::Positions m_positions;
    std::vector<const sRigidBodySample*> m_bodies;
};

#endif
