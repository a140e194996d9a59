#pragma once

/// Marks what an object cannot be made with; both compilers refuse a call.
#define GEOLOOM_UNAVAILABLE(instead) __attribute__((unavailable(instead)))

/// Declares the class of `[Class alloc]`, so that gcc finds the unavailable `init` of that class. NSObject
/// implements it.
#define GEOLOOM_TYPED_ALLOC(Class) \
  @interface Class (TypedAlloc)    \
  +(Class*)alloc;                  \
  @end
