#ifndef KEP_VISIBILITY_H
#define KEP_VISIBILITY_H

/** Marks what a framework library exports. The libraries are compiled with hidden visibility. */
#define KEP_API __attribute__((visibility("default")))

#endif
