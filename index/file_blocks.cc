#include "index/file_blocks.h"

void CopyFileRange(CFile* pDest, CFile* pSrc, BYTE* pBuffer, WORD nBufSize, LONG nFrom, LONG nTo) {
  if (nBufSize == 0 || pDest == nullptr || pSrc == nullptr || pBuffer == nullptr) {
    return;
  }
  if (nTo < 0) {
    nTo = static_cast<LONG>(pSrc->GetLength());
  }
  if (nTo <= nFrom) {
    return;
  }
  pSrc->Seek(nFrom, CFile::begin);
  while (nFrom < nTo) {
    LONG nLeft = nTo - nFrom;
    UINT nWant = nLeft < nBufSize ? static_cast<UINT>(nLeft) : nBufSize;
    UINT nGot = pSrc->Read(pBuffer, nWant);
    if (nGot == 0) {
      break;  // the source ends early: nothing more to copy
    }
    pDest->Write(pBuffer, nGot);
    nFrom += static_cast<LONG>(nGot);
  }
}

void MoveFileBlock(CFile* pFile, BYTE* pBuffer, WORD nBufSize, DWORD nDest, DWORD nSrc,
                   DWORD nLen) {
  if (pBuffer == nullptr || pFile == nullptr || nBufSize == 0 || nLen == 0 || nDest == nSrc) {
    return;
  }
  // A chunk is read whole before it is written, and the chunks go in the
  // order that never overwrites bytes still to be read: from the last chunk
  // when moving toward the end, from the first when moving toward the start.
  auto moveChunk = [&](DWORD nOffset, UINT nCount) {
    pFile->Seek(static_cast<LONGLONG>(nSrc) + nOffset, CFile::begin);
    UINT nGot = pFile->Read(pBuffer, nCount);
    pFile->Seek(static_cast<LONGLONG>(nDest) + nOffset, CFile::begin);
    if (nGot > 0) {
      pFile->Write(pBuffer, nGot);
    }
  };
  if (nDest > nSrc) {
    DWORD nLeft = nLen;
    while (nLeft > 0) {
      UINT nCount = nLeft < nBufSize ? nLeft : nBufSize;
      nLeft -= nCount;
      moveChunk(nLeft, nCount);
    }
  } else {
    DWORD nDone = 0;
    while (nDone < nLen) {
      UINT nCount = nLen - nDone < nBufSize ? nLen - nDone : nBufSize;
      moveChunk(nDone, nCount);
      nDone += nCount;
    }
  }
}
