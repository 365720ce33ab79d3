#include "registry/DescriptorTable.h"

#include "base/heapObject.h"

SOCKETINFO* DescriptorTable::find(int descriptor) const {
    const auto index = static_cast<unsigned>(descriptor);
    const Leaf* const leaf = leaves[index / leafSize].load(std::memory_order_acquire);
    return leaf == nullptr ? nullptr : (*leaf)[index % leafSize].load(std::memory_order_acquire);
}

bool DescriptorTable::store(int descriptor, SOCKETINFO* record) {
    const auto index = static_cast<unsigned>(descriptor);
    std::atomic<Leaf*>& slot = leaves[index / leafSize];
    Leaf* leaf = slot.load(std::memory_order_relaxed);
    if (leaf == nullptr) {
        leaf = makeOnHeap<Leaf>();
        if (leaf == nullptr) return false;
        slot.store(leaf, std::memory_order_release);
    }
    (*leaf)[index % leafSize].store(record, std::memory_order_release);
    return true;
}

void DescriptorTable::clear() {
    for (std::atomic<Leaf*>& slot : leaves) {
        destroyOnHeap(slot.exchange(nullptr, std::memory_order_relaxed));
    }
}
