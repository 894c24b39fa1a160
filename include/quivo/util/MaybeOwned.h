#pragma once

namespace Quivo {

/// A pointer together with the answer to "who deletes it?": the library's one form of ownership by
/// flag, and the only place in it that deletes.
///
/// A class that is handed an object initialises its `MaybeOwned` first, so that the object is
/// deleted exactly once even when the rest of the constructor throws. One thread at a time.
template <typename T>
class MaybeOwned {
public:
    /// Refers to nothing.
    MaybeOwned() noexcept = default;

    /// Refers to `object` (may be null); deletes it at the end exactly when `takeOwnership`.
    MaybeOwned(T* object, bool takeOwnership) noexcept : object_(object), owned_(takeOwnership) {}

    MaybeOwned(MaybeOwned const&) = delete;
    MaybeOwned& operator=(MaybeOwned const&) = delete;
    ~MaybeOwned() { deleteOwned(); }

    /// Refers to another object from now on; an owned old one is deleted at once. Handing in the
    /// pointer already held deletes nothing and stores the new flag.
    void reset(T* object, bool takeOwnership) {
        if (object != object_) deleteOwned();
        object_ = object;
        owned_ = takeOwnership;
    }

    /// The object, which stays where it is; null when there is none.
    [[nodiscard]] T* get() const noexcept { return object_; }
    /// The flag that came with the object.
    [[nodiscard]] bool isOwned() const noexcept { return owned_; }
    /// The object. Undefined when there is none.
    ///@{
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    ///@}

private:
    void deleteOwned() {
        if (owned_) delete object_;
    }

    T* object_ = nullptr;
    bool owned_ = false;
};

}  // namespace Quivo
