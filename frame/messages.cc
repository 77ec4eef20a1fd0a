#include "frame/monitor.h"

namespace {

// The library's own wording, Windows-1252 bytes, by message number.
const char* const s_apszMessages[] = {
    "Indexation de la table %s",       // MSG_INDEX_TITLE
    "Examen des natures de colonnes",  // MSG_INDEX_SCAN_TYPES
    "Examen des types de cellules",    // MSG_INDEX_SCAN_CELLS
    "Tri des colonnes",                // MSG_INDEX_SORT
    "Compactage de la table %s",       // MSG_COMPACT_TITLE
    "D\xE9"
    "compactage de la table %s",  // MSG_UNCOMPACT_TITLE
    "Cryptage de la table %s",    // MSG_CRYPT_TITLE
    "D\xE9"
    "cryptage de la table %s",                     // MSG_DECRYPT_TITLE
    "Recherche en cours...",                       // MSG_SEARCH_WAIT
    "Tri imposssible...",                          // MSG_SORT_FAILED
    "Ouverture du fichier %s impossible (%d)...",  // MSG_OPEN_FAILED
    "Cr\xE9"
    "ation du fichier %s impossible (%d)...",  // MSG_CREATE_FAILED
};

constexpr WORD kMessageCount = sizeof(s_apszMessages) / sizeof(s_apszMessages[0]);

}  // namespace

void GetMessageText(WORD nId, CString& strText) {
  if (nId < kMessageCount) {
    strText = s_apszMessages[nId];
  } else {
    strText.Empty();
  }
}
