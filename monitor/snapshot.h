#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <utility>

namespace velmora {

/// Lets readers use immutable objects without a lock while writers replace them: a replaced object
/// is kept until no reader that could have seen it is left. Readers announce themselves for the
/// duration of one access; writers are serialised by their caller.
template <class T>
class SnapshotDomain {
  public:
    /// Announces one reader for its lifetime.
    class Reader {
      public:
        explicit Reader(SnapshotDomain& domain) noexcept : domain_(&domain) {
            domain_->readers_.fetch_add(1);
        }
        Reader(Reader&& other) noexcept : domain_(std::exchange(other.domain_, nullptr)) {}
        Reader& operator=(Reader&&) = delete;
        ~Reader() {
            if (domain_ != nullptr) domain_->readers_.fetch_sub(1);
        }

      private:
        SnapshotDomain* domain_;
    };

    using Retired = std::list<std::unique_ptr<const T>>;

    /// Takes over objects that have been replaced, and frees those that no reader can see any more.
    /// Every operation on the counter and on the published pointers is sequentially consistent:
    /// when the counter is seen at zero after the replacement, a reader that comes later finds the
    /// new object.
    void retire(Retired objects) noexcept {
        retired_.splice(retired_.end(), objects);
        if (readers_.load() == 0) retired_.clear();
    }

    std::size_t retiredCount() const noexcept { return retired_.size(); }

  private:
    std::atomic<std::uint32_t> readers_{0};
    Retired retired_;
};

/// One published object of a domain.
template <class T>
class Snapshot {
  public:
    Snapshot(SnapshotDomain<T>& domain, std::unique_ptr<const T> first) noexcept
        : domain_(domain), current_(first.release()) {}
    ~Snapshot() { std::unique_ptr<const T>(current_.load()).reset(); }
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;

    /// Access to the current object, which stays unchanged until the access ends.
    class View {
      public:
        explicit View(const Snapshot& snapshot) noexcept
            : reader_(snapshot.domain_), object_(snapshot.current_.load()) {}
        const T& operator*() const noexcept { return *object_; }
        const T* operator->() const noexcept { return object_; }

      private:
        typename SnapshotDomain<T>::Reader reader_;
        const T* object_;
    };

    View view() const noexcept { return View(*this); }

    /// The current object for a reader of the same domain that has announced itself before; stays
    /// unchanged until that reader ends. For reading many objects.
    const T& seenBy(const typename SnapshotDomain<T>::Reader&) const noexcept {
        return *current_.load();
    }

    /// Publishes `next`; readers see the old object or the new one, never a mixture. Throws
    /// std::bad_alloc with nothing changed.
    void replace(std::unique_ptr<const T> next) {
        // The place for the old object comes first: once replaced it must be kept, since a reader
        // may be using it.
        typename SnapshotDomain<T>::Retired old(1);
        old.front().reset(current_.exchange(next.release()));
        domain_.retire(std::move(old));
    }

  private:
    SnapshotDomain<T>& domain_;
    std::atomic<const T*> current_;
};

}  // namespace velmora
