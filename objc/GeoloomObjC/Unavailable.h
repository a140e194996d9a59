#pragma once

/// Marks a method that cannot create an object of the class; both compilers reject a call.
#define GEOLOOM_UNAVAILABLE(instead) __attribute__((unavailable(instead)))

/// Declares the class of `[Class alloc]`, so that gcc finds the unavailable `init` of that class. NSObject
/// implements it.
#define GEOLOOM_TYPED_ALLOC(Class) \
  @interface Class (TypedAlloc)    \
  +(Class*)alloc;                  \
  @end
