#pragma once

#include <cstddef>
#include <type_traits>
#include <utility>

#include "Lumo/Node.h"
#include "Rix/Assert.h"

namespace Lumo {

/// A counted reference to a Node, or to none. The object lives at least as long as the reference.
/// Dereferencing a null Ptr is a failed assertion. A Ptr itself belongs to one thread.
template <class Object>
class Ptr {
  public:
    Ptr() noexcept = default;
    Ptr(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
    /// Takes a reference of its own to an object that somebody else keeps alive meanwhile.
    explicit Ptr(Object* object) noexcept : object_(object) {
        if (object_) object_->referenceAdd();
    }
    Ptr(const Ptr& other) noexcept : Ptr(other.object_) {}
    Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    /// Any Ptr whose object is an Object too: to a derived type, or to the same type not const.
    template <class Other>
    // NOLINTNEXTLINE(google-explicit-constructor)
    requires std::is_convertible_v<Other*, Object*> Ptr(Ptr<Other> other)
    noexcept : object_(other.release()) {}
    ~Ptr() {
        if (object_) object_->referenceDel();
    }

    Ptr& operator=(Ptr other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }

    /// Takes over a reference that is already counted, such as that of an object just made.
    static Ptr adopt(Object* object) noexcept {
        Ptr ptr;
        ptr.object_ = object;
        return ptr;
    }
    /// Gives the counted reference away to the caller.
    Object* release() noexcept { return std::exchange(object_, nullptr); }

    /// The object, or a null pointer; valid while this or another Ptr refers to it.
    Object* get() const noexcept { return object_; }
    Object& operator*() const noexcept {
        RIX_ASSERT(object_);
        return *object_;
    }
    Object* operator->() const noexcept {
        RIX_ASSERT(object_);
        return object_;
    }
    explicit operator bool() const noexcept { return object_ != nullptr; }

    friend bool operator==(const Ptr& a, const Ptr& b) noexcept { return a.object_ == b.object_; }
    friend bool operator==(const Ptr& a, std::nullptr_t) noexcept { return !a.object_; }

  private:
    Object* object_ = nullptr;
};

/// Tells a type's operator new that Lumo::make calls it, so that what the constructor throws can be
/// told from the end of an object.
struct Made {};

/// Makes an object of the runtime and gives the first reference to it. What the constructor throws
/// is passed on; nothing stays allocated then.
template <class Object, class... Arguments>
Ptr<Object> make(Arguments&&... arguments) {
    return Ptr<Object>::adopt(new (Made{}) Object(std::forward<Arguments>(arguments)...));
}

/// The same object seen as a derived type, or null if it is none or of another type.
template <class Object, class Other>
Ptr<Object> dynamicCast(const Ptr<Other>& other) noexcept {
    return Ptr<Object>(dynamic_cast<Object*>(other.get()));
}

}  // namespace Lumo
