#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kellanseek::controllers {

/// An element's place in a FingerprintIndex.
template <typename Element>
struct FingerprintLink {
  std::uint64_t fingerprint{};  ///< 0 for none; such an element is not in the index.
  const Element* next = nullptr;
};

/// Finds elements by the fingerprint in their member `link`. The elements belong to somebody else, who erases
/// them here before they end. Fingerprints are keyed hashes, so their lowest bits serve as the place.
template <typename Element>
class FingerprintIndex {
 public:
  /// Makes room for so many elements, after which Insert() allocates nothing. Throws std::bad_alloc.
  void Reserve(std::size_t elements) {
    if (elements <= buckets_.size()) return;
    std::vector<const Element*> chains(std::bit_ceil(elements));
    chains.swap(buckets_);
    for (const Element* first : chains) {
      while (first != nullptr) {
        const Element* const next = first->link.next;
        Insert(*first, first->link.fingerprint);
        first = next;
      }
    }
  }

  const Element* Find(std::uint64_t fingerprint) const {
    if (buckets_.empty()) return nullptr;
    const Element* found = buckets_[BucketOf(fingerprint)];
    while (found != nullptr && found->link.fingerprint != fingerprint) found = found->link.next;
    return found;
  }

  /// Takes in an element that is not in the index.
  void Insert(const Element& element, std::uint64_t fingerprint) {
    const Element*& bucket = buckets_[BucketOf(fingerprint)];
    element.link = {fingerprint, bucket};
    bucket = &element;
  }

  void Erase(const Element& element) {
    if (element.link.fingerprint == 0) return;
    const Element** place = &buckets_[BucketOf(element.link.fingerprint)];
    while (*place != &element) place = &(*place)->link.next;
    *place = element.link.next;
    element.link = {};
  }

 private:
  /// The number of buckets is a power of two.
  std::size_t BucketOf(std::uint64_t fingerprint) const {
    return static_cast<std::size_t>(fingerprint) & (buckets_.size() - 1);
  }

  std::vector<const Element*> buckets_;
};

}  // namespace kellanseek::controllers
