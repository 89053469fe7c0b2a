#include "platform/BundleLoadRec.h"

namespace {

CBundleLoadRec::Entry sLoadRec[CBundleLoadRec::kCapacity];
int32_t sLoadRecCount = 0;

}  // namespace

int32_t CBundleLoadRec::IndexOf(BundleLoader::BundleRef bundle) {
    for (int32_t i = 0; i < sLoadRecCount; ++i) {
        if (sLoadRec[i].bundle == bundle) return i;
    }
    return -1;
}

bool CBundleLoadRec::AddUse(BundleLoader::BundleRef bundle) {
    int32_t i = IndexOf(bundle);
    if (i < 0) return false;
    ++sLoadRec[i].lUseCount;
    return true;
}

bool CBundleLoadRec::Insert(BundleLoader::BundleRef bundle) {
    if (IsFull()) return false;
    sLoadRec[sLoadRecCount++] = Entry{bundle, 1};
    return true;
}

bool CBundleLoadRec::IsFull() {
    return sLoadRecCount >= kCapacity;
}

void CBundleLoadRec::RemoveUse(BundleLoader::BundleRef bundle) {
    int32_t i = IndexOf(bundle);
    if (i < 0) return;
    if (--sLoadRec[i].lUseCount >= 1) return;
    for (; i + 1 < sLoadRecCount; ++i)
        sLoadRec[i] = sLoadRec[i + 1];
    --sLoadRecCount;
    sLoadRec[sLoadRecCount] = Entry{nullptr, 0};
}

int32_t CBundleLoadRec::Count() {
    return sLoadRecCount;
}

int32_t CBundleLoadRec::UseCount(BundleLoader::BundleRef bundle) {
    int32_t i = IndexOf(bundle);
    return i < 0 ? 0 : sLoadRec[i].lUseCount;
}

CBundleLoadRec::Entry CBundleLoadRec::At(int32_t index) {
    if (index < 0 || index >= sLoadRecCount) return Entry{nullptr, 0};
    return sLoadRec[index];
}

void CBundleLoadRec::ResetForTesting() {
    for (int32_t i = 0; i < sLoadRecCount; ++i)
        sLoadRec[i] = Entry{nullptr, 0};
    sLoadRecCount = 0;
}
