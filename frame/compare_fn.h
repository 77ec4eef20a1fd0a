// The type of a comparison function, as BinaryFind and the sorted arrays take
// it, and how its result is read. A comparison function gets two pointers,
// the stored element first and the value sought second, and gives a
// negative, zero or positive number; the binary search reads only the low 16
// bits of that number, as a signed number, so a function whose differences
// may exceed 16 bits must give -1, 0 or 1.
#ifndef LORN_FRAME_COMPARE_FN_H_
#define LORN_FRAME_COMPARE_FN_H_

typedef int (*PFN_COMPARE)(const void* pStored, const void* pSought);

// Low 16 bits of a comparison result, as a signed number.
inline int CompareSign16(int nResult) {
  return static_cast<short>(nResult & 0xFFFF);
}

#endif  // LORN_FRAME_COMPARE_FN_H_
