#pragma once

#include <mutex>
#include <shared_mutex>
#include <unordered_set>

namespace TQ::App {

/// The addresses of all living objects of one kind. A plug-in may hand in anything as a handle; only what
/// stands here is ever followed.
class HandleTable {
  public:
    void Add(const void* object) {
        std::unique_lock lock(_mutex);
        _objects.insert(object);
    }
    void Remove(const void* object) {
        std::unique_lock lock(_mutex);
        _objects.erase(object);
    }
    bool Contains(const void* object) const {
        std::shared_lock lock(_mutex);
        return _objects.count(object) != 0;
    }

  private:
    mutable std::shared_mutex _mutex;
    std::unordered_set<const void*> _objects;
};

/// Base of an object that plug-ins hold by an opaque handle.
template <typename Object, typename Handle>
class HandleOwner {
  public:
    HandleOwner(const HandleOwner&) = delete;
    HandleOwner& operator=(const HandleOwner&) = delete;

    Handle AsHandle() { return reinterpret_cast<Handle>(this); }
    /// The object behind a handle; null when there is none.
    static Object* From(Handle handle) {
        return Table().Contains(handle) ? static_cast<Object*>(reinterpret_cast<HandleOwner*>(handle))
                                        : nullptr;
    }
    /// The same for interfaces that hand their handles in as plain pointers.
    static Object* FromAddress(const void* address) {
        return From(static_cast<Handle>(const_cast<void*>(address)));
    }

  protected:
    HandleOwner() { Table().Add(this); }
    ~HandleOwner() { Table().Remove(this); }

  private:
    // Never destroyed: plug-ins and statics may still hand back handles while the process ends.
    static HandleTable& Table() {
        static HandleTable& table = *new HandleTable;
        return table;
    }
};

}  // namespace TQ::App
