#include "allocation_count.h"

#include <cstdlib>
#include <new>

namespace {
thread_local size_t g_allocations = 0;
}  // namespace

namespace mirvo_fuzz {
size_t Allocations() { return g_allocations; }
}  // namespace mirvo_fuzz

// Every form of operator new counts and goes to malloc, every delete to
// free, so the sanitizer sees matching pairs whichever form is used.
void* operator new(size_t n) {
  ++g_allocations;
  if (void* p = std::malloc(n ? n : 1)) return p;
  throw std::bad_alloc();
}
void* operator new[](size_t n) { return operator new(n); }
void* operator new(size_t n, const std::nothrow_t&) noexcept {
  ++g_allocations;
  return std::malloc(n ? n : 1);
}
void* operator new[](size_t n, const std::nothrow_t& t) noexcept { return operator new(n, t); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, size_t) noexcept { std::free(p); }
void operator delete[](void* p, size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
