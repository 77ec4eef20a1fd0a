// CObject and its class records.
//
// Every class that declares DECLARE_DYNAMIC, DECLARE_DYNCREATE or
// DECLARE_SERIAL owns one static CRuntimeClass record, named class<Name>
// (CCatStd::classCCatStd), reached with RUNTIME_CLASS(Name). The matching
// IMPLEMENT_ macro, written once at namespace scope in the class's .cc file
// and not followed by a semicolon, defines the record and enters it in a
// process-wide registry during static initialisation, so that
// CRuntimeClass::FromName finds it by name before main runs.
//
//   DYNAMIC   record only; not creatable, not serialisable (schema 0xFFFF)
//   DYNCREATE record and a static CreateObject(); not serialisable
//   SERIAL    record, CreateObject() and a schema number; the archive stores
//             the class by name and schema and creates it again on loading
//
// The DECLARE_ macros open a public section and declare GetRuntimeClass()
// with override, so the class's other overrides must say override as well,
// and two static functions that give the base class's record
// (GetBaseClass) and the class's own (GetThisClass).
//
// Records are plain constant data; they never change after initialisation
// and are never freed. A class defined in a static library is registered only
// if its object file is linked in.
#ifndef LORN_PLATFORM_COBJECT_H_
#define LORN_PLATFORM_COBJECT_H_

#include "platform/lorn_export.h"
#include "platform/types.h"

class CArchive;
class CObject;

// Schema of a class that cannot be stored in an archive.
#define LORN_NOT_SERIAL_SCHEMA 0xFFFF

struct LORN_API CRuntimeClass {
  const char* m_lpszClassName;
  int m_nObjectSize;
  UINT m_wSchema;                   // 0xFFFF: not serialisable
  CObject* (*m_pfnCreateObject)();  // null: not creatable
  CRuntimeClass* m_pBaseClass;      // null only for CObject

  // A new object of the class made with its default constructor, owned by
  // the caller; null when the class is not creatable.
  CObject* CreateObject() const;
  // TRUE when this class is pBaseClass or derives from it (null: FALSE).
  BOOL IsDerivedFrom(const CRuntimeClass* pBaseClass) const;

  // The registered record whose class name equals pszClassName byte for
  // byte, or null (also for a null name).
  static CRuntimeClass* FromName(const char* pszClassName);
};

// Enters a record in the registry; the IMPLEMENT_ macros make one static
// instance per class. Registering the same record twice keeps one entry.
struct LORN_API AFX_CLASSINIT {
  explicit AFX_CLASSINIT(CRuntimeClass* pNewClass);
};

class LORN_API CObject {
 public:
  virtual CRuntimeClass* GetRuntimeClass() const;
  virtual ~CObject();
  // Stores or loads the object's data; CObject has none and does nothing.
  virtual void Serialize(CArchive& ar);
  // Consistency hooks; CObject's do nothing.
  virtual void AssertValid() const;
  virtual void Dump() const;

  BOOL IsKindOf(const CRuntimeClass* pClass) const;
  BOOL IsSerializable() const;

  static CRuntimeClass classCObject;

 protected:
  CObject() = default;

 public:
  // Objects are not copied; arrays offer Copy for their content.
  CObject(const CObject&) = delete;
  CObject& operator=(const CObject&) = delete;
};

#define RUNTIME_CLASS(class_name) (&class_name::class##class_name)

#define DECLARE_DYNAMIC(class_name)                      \
 public:                                                 \
  static CRuntimeClass class##class_name;                \
  [[maybe_unused]] static CRuntimeClass* GetBaseClass(); \
  [[maybe_unused]] static CRuntimeClass* GetThisClass(); \
  CRuntimeClass* GetRuntimeClass() const override;

#define DECLARE_DYNCREATE(class_name) \
  DECLARE_DYNAMIC(class_name)         \
  static CObject* CreateObject();

#define DECLARE_SERIAL(class_name) DECLARE_DYNCREATE(class_name)

#define LORN_IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, wSchema, pfnNew)            \
  CRuntimeClass class_name::class##class_name = {                                            \
      #class_name, static_cast<int>(sizeof(class_name)), static_cast<UINT>(wSchema), pfnNew, \
      RUNTIME_CLASS(base_class_name)};                                                       \
  CRuntimeClass* class_name::GetBaseClass() {                                                \
    return RUNTIME_CLASS(base_class_name);                                                   \
  }                                                                                          \
  CRuntimeClass* class_name::GetThisClass() {                                                \
    return RUNTIME_CLASS(class_name);                                                        \
  }                                                                                          \
  CRuntimeClass* class_name::GetRuntimeClass() const {                                       \
    return RUNTIME_CLASS(class_name);                                                        \
  }                                                                                          \
  static const AFX_CLASSINIT s_classInit##class_name(RUNTIME_CLASS(class_name));

#define IMPLEMENT_DYNAMIC(class_name, base_class_name) \
  LORN_IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, LORN_NOT_SERIAL_SCHEMA, nullptr)

#define IMPLEMENT_DYNCREATE(class_name, base_class_name)                           \
  CObject* class_name::CreateObject() {                                            \
    return new class_name;                                                         \
  }                                                                                \
  LORN_IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, LORN_NOT_SERIAL_SCHEMA, \
                              class_name::CreateObject)

#define IMPLEMENT_SERIAL(class_name, base_class_name, wSchema) \
  CObject* class_name::CreateObject() {                        \
    return new class_name;                                     \
  }                                                            \
  LORN_IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, wSchema, class_name::CreateObject)

#endif  // LORN_PLATFORM_COBJECT_H_
