#include "platform/collections.h"

IMPLEMENT_SERIAL(CByteArray, CObject, 0)
IMPLEMENT_SERIAL(CWordArray, CObject, 0)
IMPLEMENT_SERIAL(CDWordArray, CObject, 0)
IMPLEMENT_SERIAL(CStringArray, CObject, 0)
IMPLEMENT_DYNCREATE(CObArray, CObject)
IMPLEMENT_DYNAMIC(CMapStringToPtr, CObject)

CByteArray::~CByteArray() = default;
CWordArray::~CWordArray() = default;
CDWordArray::~CDWordArray() = default;
CStringArray::~CStringArray() = default;
CObArray::~CObArray() = default;

namespace {

std::string MapKey(const char* key) {
  return key == nullptr ? std::string() : std::string(key);
}

}  // namespace

CMapStringToPtr::CMapStringToPtr(INT_PTR nBlockSize) {
  (void)nBlockSize;
}

CMapStringToPtr::~CMapStringToPtr() = default;

BOOL CMapStringToPtr::Lookup(const char* key, void*& rValue) const {
  auto it = m_mapData.find(MapKey(key));
  if (it == m_mapData.end()) {
    return FALSE;
  }
  rValue = it->second;
  return TRUE;
}

void CMapStringToPtr::SetAt(const char* key, void* newValue) {
  m_mapData[MapKey(key)] = newValue;
}

void*& CMapStringToPtr::operator[](const char* key) {
  return m_mapData[MapKey(key)];
}

BOOL CMapStringToPtr::RemoveKey(const char* key) {
  return m_mapData.erase(MapKey(key)) != 0 ? TRUE : FALSE;
}

void CMapStringToPtr::RemoveAll() {
  m_mapData.clear();
}
