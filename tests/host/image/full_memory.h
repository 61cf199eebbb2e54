#ifndef VORNISA_FULL_MEMORY_H
#define VORNISA_FULL_MEMORY_H

/** During its lifetime shared memory is full: no segment can get pages. */
class FullMemory {
  public:
    FullMemory();
    FullMemory(const FullMemory&) = delete;
    FullMemory& operator=(const FullMemory&) = delete;
    ~FullMemory();
};

#endif
