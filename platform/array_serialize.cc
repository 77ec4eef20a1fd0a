// Archive form of the four value arrays: a count, then the elements. A
// loaded count is checked against the bytes left in the archive before the
// array grows, so a damaged count cannot make it allocate more than the file
// could fill.
#include "platform/carchive.h"
#include "platform/collections.h"

namespace {

template <class TArray>
void SerializeScalars(TArray& arr, CArchive& ar, ULONGLONG nElementSize) {
  if (ar.IsStoring()) {
    INT_PTR nSize = arr.GetSize();
    ar.WriteCount(static_cast<DWORD>(nSize));
    for (INT_PTR i = 0; i < nSize; ++i) {
      ar << arr.GetData()[i];
    }
    return;
  }
  DWORD nCount = ar.ReadCount();
  ar.EnsureBytesLeft(nElementSize * nCount);
  arr.SetSize(nCount);
  for (DWORD i = 0; i < nCount; ++i) {
    ar >> arr.GetData()[i];
  }
}

}  // namespace

void CByteArray::Serialize(CArchive& ar) {
  if (ar.IsStoring()) {
    ar.WriteCount(static_cast<DWORD>(GetSize()));
    ar.Write(GetData(), static_cast<UINT>(GetSize()));
    return;
  }
  DWORD nCount = ar.ReadCount();
  ar.EnsureBytesLeft(nCount);
  SetSize(nCount);
  if (nCount > 0 && ar.Read(GetData(), nCount) != nCount) {
    AfxThrowArchiveException(CArchiveException::endOfFile);
  }
}

void CWordArray::Serialize(CArchive& ar) {
  SerializeScalars(*this, ar, sizeof(WORD));
}

void CDWordArray::Serialize(CArchive& ar) {
  SerializeScalars(*this, ar, sizeof(DWORD));
}

void CStringArray::Serialize(CArchive& ar) {
  // Every stored string takes at least its one length byte.
  SerializeScalars(*this, ar, 1);
}
