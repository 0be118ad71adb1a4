#pragma once

#include <QByteArray>

#include <memory>

namespace velmora {

// Blank slices for a large body, allocated and written once on a pool thread. Slices of this
// size are fresh mappings, and the first write to each of their pages is a page fault: taken
// on the host's main thread, that was most of the time a 64 MiB download cost it. A few
// slices are kept ready ahead; they are freed with the supply.
class SliceSupply {
public:
    explicit SliceSupply(qsizetype sliceSize);
    ~SliceSupply();
    SliceSupply(const SliceSupply &) = delete;
    SliceSupply &operator=(const SliceSupply &) = delete;

    // A slice of sliceSize bytes that the caller owns alone: a ready one when there is one,
    // else a fresh one. Asks for more to be made ready.
    QByteArray take();

private:
    struct Shelf;
    std::shared_ptr<Shelf> m_shelf;
};

} // namespace velmora
