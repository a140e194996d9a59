// The functions that clang calls to copy and release blocks, by the published block ABI. Unlike Debian's
// libBlocksRuntime, a block here retains the objects that it captures, as Objective-C needs.
#import <Foundation/Foundation.h>
#import <GeoloomObjC/GeoloomBlock.h>

enum {
  COUNT_MASK = 0xFFFF,        // number of owners of a byref; a block counts in `reserved`
  IS_ON_HEAP = 1 << 24,       // made by a copy
  HAS_COPY_DISPOSE = 1 << 25  // set by the compiler: there are helpers for captured variables
};

// Kinds of captured fields, set by the compiler.
enum { FIELD_IS_OBJECT = 3, FIELD_IS_BLOCK = 7, FIELD_IS_BYREF = 8, FIELD_KIND = 15, CALLED_FOR_BYREF = 128 };

typedef struct {
  unsigned long reserved;
  unsigned long size;
  void (*copy)(void* copy, const void* block);
  void (*dispose)(const void* block);
} Descriptor;

// A variable marked __block.
typedef struct Byref {
  void* isa;
  struct Byref* forwarding;
  int flags;
  int size;
  // With HAS_COPY_DISPOSE only:
  void (*keep)(struct Byref* copy, struct Byref* byref);
  void (*dispose)(struct Byref* byref);
} Byref;

void* _NSConcreteStackBlock[32];
void* _NSConcreteMallocBlock[32];
void* _NSConcreteGlobalBlock[32];
const GeoloomBlockDescriptor GeoloomGlobalBlockDescriptor = {0, sizeof(GeoloomBlock)};

static void* copied(const void* bytes, size_t size) {
  void* copy = malloc(size);
  if (copy == NULL)
    [NSException raise:NSMallocException format:@"no memory for a block of %lu bytes", (unsigned long)size];
  return memcpy(copy, bytes, size);
}

void* _Block_copy(const void* argument) {
  GeoloomBlock* block = (GeoloomBlock*)argument;
  if (block == NULL || (block->flags & GEOLOOM_BLOCK_IS_GLOBAL) != 0) return block;
  if ((block->flags & IS_ON_HEAP) != 0) {
    __atomic_add_fetch(&block->reserved, 1, __ATOMIC_RELAXED);
    return block;
  }
  GeoloomBlock* copy = copied(block, block->descriptor->size);
  copy->isa = _NSConcreteMallocBlock;
  copy->flags |= IS_ON_HEAP;
  copy->reserved = 1;
  if ((copy->flags & HAS_COPY_DISPOSE) != 0) ((const Descriptor*)copy->descriptor)->copy(copy, block);
  return copy;
}

void _Block_release(const void* argument) {
  GeoloomBlock* block = (GeoloomBlock*)argument;
  if (block == NULL || (block->flags & IS_ON_HEAP) == 0) return;
  if (__atomic_sub_fetch(&block->reserved, 1, __ATOMIC_ACQ_REL) != 0) return;
  if ((block->flags & HAS_COPY_DISPOSE) != 0) ((const Descriptor*)block->descriptor)->dispose(block);
  free(block);
}

// The first copy of a block moves the variable to the heap; all blocks use that one from then on.
static Byref* copyByref(Byref* byref) {
  Byref* current = byref->forwarding;
  if ((current->flags & IS_ON_HEAP) != 0) {
    __atomic_add_fetch(&current->flags, 1, __ATOMIC_RELAXED);
    return current;
  }
  Byref* copy = copied(byref, (size_t)byref->size);
  // Owned by the block and by the function that declares the variable.
  copy->flags = (byref->flags & ~COUNT_MASK) | IS_ON_HEAP | 2;
  copy->forwarding = copy;
  byref->forwarding = copy;
  if ((copy->flags & HAS_COPY_DISPOSE) != 0) copy->keep(copy, byref);
  return copy;
}

static void releaseByref(Byref* byref) {
  Byref* current = byref->forwarding;
  if ((current->flags & IS_ON_HEAP) == 0) return;
  if ((__atomic_sub_fetch(&current->flags, 1, __ATOMIC_ACQ_REL) & COUNT_MASK) != 0) return;
  if ((current->flags & HAS_COPY_DISPOSE) != 0) current->dispose(current);
  free(current);
}

// A __block variable does not own its object: it is neither retained nor released.

void _Block_object_assign(void* destination, const void* object, const int flags) {
  void* kept = (void*)object;
  if ((flags & CALLED_FOR_BYREF) == 0) {
    switch (flags & FIELD_KIND) {
      case FIELD_IS_OBJECT:
        kept = [(id)kept retain];
        break;
      case FIELD_IS_BLOCK:
        kept = _Block_copy(kept);
        break;
      case FIELD_IS_BYREF:
        kept = copyByref(kept);
        break;
      default:
        break;
    }
  }
  *(void**)destination = kept;
}

void _Block_object_dispose(const void* object, const int flags) {
  if ((flags & CALLED_FOR_BYREF) != 0) return;
  switch (flags & FIELD_KIND) {
    case FIELD_IS_OBJECT:
      [(id)object release];
      break;
    case FIELD_IS_BLOCK:
      _Block_release(object);
      break;
    case FIELD_IS_BYREF:
      releaseByref((Byref*)object);
      break;
    default:
      break;
  }
}
