// Messages and the progress monitor. The library shows nothing by itself:
// long operations ask the host's monitor for each text by its number and hand
// it back for display. CProgressMonitor is the base class that hosts derive
// from; its default GetMessage gives the library's own texts.
//
// Message texts are Windows-1252 bytes:
//   0 "Indexation de la table %s"      6 "Cryptage de la table %s"
//   1 "Examen des natures de colonnes"  7 "Décryptage de la table %s"
//   2 "Examen des types de cellules"    8 "Recherche en cours..."
//   3 "Tri des colonnes"                9 "Tri imposssible..."
//   4 "Compactage de la table %s"      10 "Ouverture du fichier %s impossible (%d)..."
//   5 "Décompactage de la table %s"    11 "Création du fichier %s impossible (%d)..."
#ifndef LORN_FRAME_MONITOR_H_
#define LORN_FRAME_MONITOR_H_

#include "platform/cobject.h"
#include "platform/cstring.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

// Message numbers.
constexpr WORD MSG_INDEX_TITLE = 0;
constexpr WORD MSG_INDEX_SCAN_TYPES = 1;
constexpr WORD MSG_INDEX_SCAN_CELLS = 2;
constexpr WORD MSG_INDEX_SORT = 3;
constexpr WORD MSG_COMPACT_TITLE = 4;
constexpr WORD MSG_UNCOMPACT_TITLE = 5;
constexpr WORD MSG_CRYPT_TITLE = 6;
constexpr WORD MSG_DECRYPT_TITLE = 7;
constexpr WORD MSG_SEARCH_WAIT = 8;
constexpr WORD MSG_SORT_FAILED = 9;
constexpr WORD MSG_OPEN_FAILED = 10;
constexpr WORD MSG_CREATE_FAILED = 11;

// The monitor a host supplies with SetProgressMonitor. The library calls it
// on the caller's thread, from within the operation; it looks at no result
// but that of GetPos. The base class does nothing but remember the position
// and give the stock messages.
class LORN_API CProgressMonitor : public CObject {
 public:
  CProgressMonitor();
  ~CProgressMonitor() override;

  // Starts the report of a long operation; the text is already formatted.
  virtual void SetTitle(const char* pszText);
  // Names the present step; may be empty, or a column name.
  virtual void SetStep(const char* pszText);
  // Position, a percentage; the library does not limit it to 100.
  virtual void SetPos(WORD nPos);
  virtual WORD GetPos();
  // The operation is over (not called when an exception left it).
  virtual void End();
  // The text of a message with its placeholders.
  virtual void GetMessage(WORD nId, CString& strText);
  // An error text; the operation goes on.
  virtual void ShowError(const char* pszText);
  // A wait without a position (the search of a query).
  virtual void BeginWait(const char* pszText);
  virtual void EndWait();

 protected:
  WORD m_nPos;
};

// Sets strText to the library's text of message nId; empty above 11.
LORN_API void GetMessageText(WORD nId, CString& strText);

// The library's operations report through the helpers of
// frame/monitor_report.h, which is not part of the installed interface.
#ifdef LORN_BUILDING_LIBRARY
#include "frame/monitor_report.h"
#endif

#endif  // LORN_FRAME_MONITOR_H_
