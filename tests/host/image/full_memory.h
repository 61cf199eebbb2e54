#ifndef VORNISA_FULL_MEMORY_H
#define VORNISA_FULL_MEMORY_H

/** While one lives, shared memory is full: no segment can get pages of its own. */
class FullMemory {
  public:
    FullMemory();
    FullMemory(const FullMemory&) = delete;
    FullMemory& operator=(const FullMemory&) = delete;
    ~FullMemory();
};

#endif
