// Copying and moving stretches of bytes between and inside files, through a
// buffer that the caller lends. Index builds use them to put zones together;
// hosts may use them on their own files.
#ifndef LORN_INDEX_FILE_BLOCKS_H_
#define LORN_INDEX_FILE_BLOCKS_H_

#include "platform/cfile.h"
#include "platform/lorn_export.h"
#include "platform/types.h"

// Copies the bytes nFrom to nTo of pSrc (nTo negative: its length) to the
// current position of pDest, nBufSize bytes at a time. Does nothing for a
// null file or buffer, a buffer size of 0 or an empty stretch; stops early
// when pSrc ends. File errors pass through as CFileException.
LORN_API void CopyFileRange(CFile* pDest, CFile* pSrc, BYTE* pBuffer, WORD nBufSize, LONG nFrom,
                            LONG nTo);
// Moves nLen bytes inside pFile from nSrc to nDest; the stretches may overlap.
// Does nothing for a null file or buffer, a buffer size of 0, nLen 0 or
// nDest equal to nSrc. File errors pass through as CFileException.
LORN_API void MoveFileBlock(CFile* pFile, BYTE* pBuffer, WORD nBufSize, DWORD nDest, DWORD nSrc,
                            DWORD nLen);

#endif  // LORN_INDEX_FILE_BLOCKS_H_
