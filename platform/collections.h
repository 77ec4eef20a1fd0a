// The array and map classes of the class library.
//
// CByteArray, CWordArray, CDWordArray, CStringArray and CObArray share one
// implementation, CElementArray<TYPE>: a contiguous array of elements whose
// new slots are zero (or empty strings, or null pointers).
//
// Every element access and every index argument is checked: an index outside
// [0, GetSize()), a negative size or count, or a null array pointer throws
// CInvalidArgException and leaves the array as it was. The exceptions to the
// range are SetAtGrow, which grows the array to reach the index, and
// InsertAt, which takes an index up to the size, or beyond it by growing the
// array first. Pointers and references into the array (GetData, ElementAt,
// operator[]) stay valid only until its size changes.
//
// CObArray holds pointers it does not own: removing an element or destroying
// the array never deletes an object.
//
// The four value arrays are stored in archives by their Serialize, defined
// with the archive (platform/array_serialize.cc); CObArray is not
// serialisable.
#ifndef LORN_PLATFORM_COLLECTIONS_H_
#define LORN_PLATFORM_COLLECTIONS_H_

#include <string>
#include <unordered_map>
#include <vector>

#include "platform/cobject.h"
#include "platform/cstring.h"
#include "platform/exceptions.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

template <class TYPE>
class LORN_API CElementArray : public CObject {
 public:
  INT_PTR GetSize() const { return static_cast<INT_PTR>(m_arData.size()); }
  INT_PTR GetCount() const { return GetSize(); }
  INT_PTR GetUpperBound() const { return GetSize() - 1; }
  BOOL IsEmpty() const { return m_arData.empty() ? TRUE : FALSE; }

  // Sets the number of elements: new slots are zero, surplus ones are
  // dropped; 0 also releases the memory. The allocation step is the array's
  // own choice (geometric), so nGrowBy is accepted and not needed.
  void SetSize(INT_PTR nNewSize, INT_PTR nGrowBy = -1) {
    (void)nGrowBy;
    if (nNewSize < 0) {
      AfxThrowInvalidArgException();
    }
    if (nNewSize == 0) {
      std::vector<TYPE>().swap(m_arData);
    } else {
      m_arData.resize(static_cast<size_t>(nNewSize));
    }
  }
  // Releases the memory beyond the size.
  void FreeExtra() { m_arData.shrink_to_fit(); }
  void RemoveAll() { SetSize(0); }

  const TYPE& GetAt(INT_PTR nIndex) const { return m_arData[Checked(nIndex)]; }
  void SetAt(INT_PTR nIndex, const TYPE& newElement) { m_arData[Checked(nIndex)] = newElement; }
  TYPE& ElementAt(INT_PTR nIndex) { return m_arData[Checked(nIndex)]; }
  const TYPE& ElementAt(INT_PTR nIndex) const { return m_arData[Checked(nIndex)]; }
  TYPE& operator[](INT_PTR nIndex) { return ElementAt(nIndex); }
  const TYPE& operator[](INT_PTR nIndex) const { return GetAt(nIndex); }

  // The elements in order; null when the array is empty.
  TYPE* GetData() { return m_arData.empty() ? nullptr : m_arData.data(); }
  const TYPE* GetData() const { return m_arData.empty() ? nullptr : m_arData.data(); }

  // Sets the element at nIndex, first growing the array when nIndex is at
  // or above the size.
  void SetAtGrow(INT_PTR nIndex, const TYPE& newElement) {
    if (nIndex < 0) {
      AfxThrowInvalidArgException();
    }
    TYPE copy(newElement);  // newElement may live in the array
    if (nIndex >= GetSize()) {
      SetSize(nIndex + 1);
    }
    m_arData[static_cast<size_t>(nIndex)] = std::move(copy);
  }
  // Appends one element; result its index.
  INT_PTR Add(const TYPE& newElement) {
    m_arData.push_back(newElement);
    return GetSize() - 1;
  }
  // Appends the elements of src (which may be this array); result the old size.
  INT_PTR Append(const CElementArray& src) {
    INT_PTR nOldSize = GetSize();
    if (&src == this) {
      std::vector<TYPE> arCopy(m_arData);
      m_arData.insert(m_arData.end(), arCopy.begin(), arCopy.end());
    } else {
      m_arData.insert(m_arData.end(), src.m_arData.begin(), src.m_arData.end());
    }
    return nOldSize;
  }
  // Makes this array a copy of src.
  void Copy(const CElementArray& src) {
    if (&src != this) {
      m_arData = src.m_arData;
    }
  }

  // Inserts nCount (at least 1) copies of newElement before nIndex. An index
  // beyond the size first grows the array to nIndex with zero elements.
  void InsertAt(INT_PTR nIndex, const TYPE& newElement, INT_PTR nCount = 1) {
    if (nIndex < 0 || nCount <= 0) {
      AfxThrowInvalidArgException();
    }
    TYPE copy(newElement);  // newElement may live in the array
    if (nIndex > GetSize()) {
      SetSize(nIndex);
    }
    m_arData.insert(m_arData.begin() + nIndex, static_cast<size_t>(nCount), copy);
  }
  // Inserts all elements of *pNewArray (which may be this array) before
  // nStartIndex, growing as the other InsertAt does; an empty *pNewArray
  // changes nothing.
  void InsertAt(INT_PTR nStartIndex, const CElementArray* pNewArray) {
    if (pNewArray == nullptr || nStartIndex < 0) {
      AfxThrowInvalidArgException();
    }
    if (pNewArray->IsEmpty()) {
      return;
    }
    std::vector<TYPE> arCopy(pNewArray->m_arData);
    if (nStartIndex > GetSize()) {
      SetSize(nStartIndex);
    }
    m_arData.insert(m_arData.begin() + nStartIndex, arCopy.begin(), arCopy.end());
  }
  // Removes nCount (0 or more) elements from nIndex; all must exist.
  void RemoveAt(INT_PTR nIndex, INT_PTR nCount = 1) {
    if (nIndex < 0 || nCount < 0 || nIndex > GetSize() || nCount > GetSize() - nIndex) {
      AfxThrowInvalidArgException();
    }
    m_arData.erase(m_arData.begin() + nIndex, m_arData.begin() + (nIndex + nCount));
  }

 protected:
  CElementArray() = default;
  ~CElementArray() override = default;

 private:
  size_t Checked(INT_PTR nIndex) const {
    if (nIndex < 0 || nIndex >= GetSize()) {
      AfxThrowInvalidArgException();
    }
    return static_cast<size_t>(nIndex);
  }

  std::vector<TYPE> m_arData;
};

class LORN_API CByteArray : public CElementArray<BYTE> {
  DECLARE_SERIAL(CByteArray)
 public:
  CByteArray() = default;
  ~CByteArray() override;
  void Serialize(CArchive& ar) override;
};

class LORN_API CWordArray : public CElementArray<WORD> {
  DECLARE_SERIAL(CWordArray)
 public:
  CWordArray() = default;
  ~CWordArray() override;
  void Serialize(CArchive& ar) override;
};

class LORN_API CDWordArray : public CElementArray<DWORD> {
  DECLARE_SERIAL(CDWordArray)
 public:
  CDWordArray() = default;
  ~CDWordArray() override;
  void Serialize(CArchive& ar) override;
};

class LORN_API CStringArray : public CElementArray<CString> {
  DECLARE_SERIAL(CStringArray)
 public:
  CStringArray() = default;
  ~CStringArray() override;
  void Serialize(CArchive& ar) override;
};

// Creatable by class record, not serialisable (Serialize stores nothing).
class LORN_API CObArray : public CElementArray<CObject*> {
  DECLARE_DYNCREATE(CObArray)
 public:
  CObArray() = default;
  ~CObArray() override;
};

// Map from exact byte strings to untyped pointers; the values are not owned.
class LORN_API CMapStringToPtr : public CObject {
  DECLARE_DYNAMIC(CMapStringToPtr)
 public:
  // nBlockSize is the class library's allocation step; the map chooses its
  // own and takes the argument for compatibility.
  explicit CMapStringToPtr(INT_PTR nBlockSize = 10);
  ~CMapStringToPtr() override;

  INT_PTR GetCount() const { return static_cast<INT_PTR>(m_mapData.size()); }
  INT_PTR GetSize() const { return GetCount(); }
  BOOL IsEmpty() const { return m_mapData.empty() ? TRUE : FALSE; }

  // TRUE and the value when the key is present; FALSE and rValue unchanged
  // otherwise. A null key is the empty key here and below.
  BOOL Lookup(const char* key, void*& rValue) const;
  void SetAt(const char* key, void* newValue);
  // The value slot of the key, added with a null value when absent.
  void*& operator[](const char* key);
  // TRUE when the key was present.
  BOOL RemoveKey(const char* key);
  void RemoveAll();

 private:
  std::unordered_map<std::string, void*> m_mapData;
};

#endif  // LORN_PLATFORM_COLLECTIONS_H_
