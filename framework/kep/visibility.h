#ifndef KEP_VISIBILITY_H
#define KEP_VISIBILITY_H

/** Marks an exported symbol of the framework libraries, which are compiled with hidden visibility. */
#define KEP_API __attribute__((visibility("default")))

#endif
