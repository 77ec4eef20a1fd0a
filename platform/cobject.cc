#include "platform/cobject.h"

#include <cstring>
#include <vector>

namespace {

// Filled during static initialisation from many translation units, hence a
// function-local static rather than a namespace-scope object.
std::vector<CRuntimeClass*>& Registry() {
  static std::vector<CRuntimeClass*> s_arClasses;
  return s_arClasses;
}

}  // namespace

CRuntimeClass CObject::classCObject = {"CObject", static_cast<int>(sizeof(CObject)),
                                       LORN_NOT_SERIAL_SCHEMA, nullptr, nullptr};
static const AFX_CLASSINIT s_classInitCObject(&CObject::classCObject);

CObject* CRuntimeClass::CreateObject() const {
  if (m_pfnCreateObject == nullptr) {
    return nullptr;
  }
  return m_pfnCreateObject();
}

BOOL CRuntimeClass::IsDerivedFrom(const CRuntimeClass* pBaseClass) const {
  if (pBaseClass == nullptr) {
    return FALSE;
  }
  for (const CRuntimeClass* pClass = this; pClass != nullptr; pClass = pClass->m_pBaseClass) {
    if (pClass == pBaseClass) {
      return TRUE;
    }
  }
  return FALSE;
}

CRuntimeClass* CRuntimeClass::FromName(const char* pszClassName) {
  if (pszClassName == nullptr) {
    return nullptr;
  }
  for (CRuntimeClass* pClass : Registry()) {
    if (std::strcmp(pClass->m_lpszClassName, pszClassName) == 0) {
      return pClass;
    }
  }
  return nullptr;
}

AFX_CLASSINIT::AFX_CLASSINIT(CRuntimeClass* pNewClass) {
  std::vector<CRuntimeClass*>& arClasses = Registry();
  for (CRuntimeClass* pClass : arClasses) {
    if (pClass == pNewClass) {
      return;
    }
  }
  arClasses.push_back(pNewClass);
}

CRuntimeClass* CObject::GetRuntimeClass() const {
  return &CObject::classCObject;
}

CObject::~CObject() = default;

void CObject::Serialize(CArchive& /*ar*/) {}

void CObject::AssertValid() const {}

void CObject::Dump() const {}

BOOL CObject::IsKindOf(const CRuntimeClass* pClass) const {
  return GetRuntimeClass()->IsDerivedFrom(pClass);
}

BOOL CObject::IsSerializable() const {
  return GetRuntimeClass()->m_wSchema != LORN_NOT_SERIAL_SCHEMA;
}
