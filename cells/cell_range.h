// The objects of range cells: a range with typed bounds that knows its kind,
// its column type and its flags, compares itself with a value and gives its
// bounds back as text. Single values, lists, the lone wildcard and empty
// cells have no object (cells/cell_factory.h makes these).
//
//   CObject
//     CCellStd              root: no members
//       CCellRange          m_nFlags, the range flags of the splitter
//         CCellRangeStr     text bounds, compared without regard to case
//         CCellRangeLong    32-bit signed bounds
//         CCellRangeReal    double bounds with the decimals they were written with
//
// The constructors take the flag byte and the value texts as SplitCellEx
// gives them: entry 0 the low bound, entry 1 the high bound. With a null or
// empty array the bounds stay empty (0 for the numbers); with one entry only
// the low bound is read. The objects own nothing but their members.
#ifndef LORN_CELLS_CELL_RANGE_H_
#define LORN_CELLS_CELL_RANGE_H_

#include "frame/lorn_defs.h"
#include "platform/cobject.h"
#include "platform/collections.h"
#include "platform/cstring.h"
#include "platform/types.h"

class CArchive;

class CCellStd : public CObject {
  DECLARE_DYNAMIC(CCellStd)

 public:
  CCellStd() = default;
  ~CCellStd() override;

  // Cell kind (CELL_RANGE for every class that exists).
  virtual BYTE GetKind() const = 0;
  // Column type of the bounds: COL_TYPE_LONG, COL_TYPE_REAL or COL_TYPE_STR.
  virtual BYTE GetType() const = 0;
  // The low bound (bHigh 0) or the high bound: a NUL-terminated text, a
  // LONG or a double, by type. Valid while the object lives unchanged.
  virtual const void* GetBound(BYTE bHigh) const = 0;
  // Where the value lies: -1 below the range or on an excluded low bound,
  // 1 above it or on an excluded high bound, 0 inside. pValue points to a
  // value of the object's type (text, LONG, double); null gives 1.
  virtual short Compare(const void* pValue) const = 0;
  // Sets arValues to the two bounds as text; result 2.
  virtual WORD GetValues(CStringArray& arValues) const = 0;
  // Range flags (RANGE_*); 0 here.
  virtual BYTE GetFlags() const;

  // Writes kind, type and flags, one byte each, then the values as a
  // CStringArray. Does nothing on a loading archive. Write errors of the
  // archive pass through.
  void Store(CArchive& ar) const;
};

class CCellRange : public CCellStd {
  DECLARE_DYNAMIC(CCellRange)

 public:
  explicit CCellRange(BYTE nFlags) : m_nFlags(nFlags) {}
  ~CCellRange() override;

  BYTE GetKind() const override;
  BYTE GetFlags() const override;

  BYTE m_nFlags;
};

class CCellRangeStr : public CCellRange {
  DECLARE_DYNAMIC(CCellRangeStr)

 public:
  // Copies the texts unchanged.
  CCellRangeStr(BYTE nFlags, const CStringArray* pValues);
  ~CCellRangeStr() override;

  BYTE GetType() const override;
  const void* GetBound(BYTE bHigh) const override;
  // pValue: a NUL-terminated text, compared with CString::CompareNoCase.
  short Compare(const void* pValue) const override;
  WORD GetValues(CStringArray& arValues) const override;

  CString m_strLow;
  CString m_strHigh;
};

class CCellRangeLong : public CCellRange {
  DECLARE_DYNAMIC(CCellRangeLong)

 public:
  // Converts the texts as index keys are converted (atol).
  CCellRangeLong(BYTE nFlags, const CStringArray* pValues);
  ~CCellRangeLong() override;

  BYTE GetType() const override;
  const void* GetBound(BYTE bHigh) const override;
  // pValue: a LONG.
  short Compare(const void* pValue) const override;
  // Decimal texts.
  WORD GetValues(CStringArray& arValues) const override;

  LONG m_nLow = 0;
  LONG m_nHigh = 0;
};

class CCellRangeReal : public CCellRange {
  DECLARE_DYNAMIC(CCellRangeReal)

 public:
  // Converts the texts as index keys are converted (strtod) and counts the
  // characters behind the last "." of each (0 without one).
  CCellRangeReal(BYTE nFlags, const CStringArray* pValues);
  ~CCellRangeReal() override;

  BYTE GetType() const override;
  const void* GetBound(BYTE bHigh) const override;
  // pValue: a double. A value below the low bound by however little is
  // below; equality (within REAL_TOLERANCE) matters only for an excluded
  // bound.
  short Compare(const void* pValue) const override;
  // Each bound with as many decimals as its text had: 1.50 stays 1.50.
  WORD GetValues(CStringArray& arValues) const override;

  short m_nLowDecimals = 0;
  short m_nHighDecimals = 0;
  double m_dLow = 0.0;
  double m_dHigh = 0.0;
};

#endif  // LORN_CELLS_CELL_RANGE_H_
