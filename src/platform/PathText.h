#pragma once

// Path arithmetic on the text alone, the way the Windows shell helpers
// (PathCombine, PathRelativePathTo) work, shared by every platform so that
// the same paths give the same results everywhere:
//  - absolute means: a leading separator ("/x", "//server/share") or a drive
//    ("C:", "C:/x"); everything else is relative;
//  - combining joins with one separator and resolves "." and ".." segments
//    lexically (".." never climbs above a root; in a relative result the
//    leading ".." that cannot be resolved are kept); repeated separators
//    collapse;
//  - a relative path between two absolute ones needs the same root (drive
//    letters compare without case; folder names as the caller says); it
//    starts with "./" when the target lies below the base and with one "../"
//    per folder to climb otherwise.
// Both separators are accepted; results use "/" throughout.

namespace Trell {

class CString;

namespace PathText {

bool isAbsolute(const CString& strPath);
// strPath itself (with "/") when it is absolute, else joined onto strBasePath
// and normalised.
CString combine(const CString& strBasePath, const CString& strPath);
// From strBasePath (a folder when bBaseIsFolder, else a file whose folder
// counts) to strPath; strPath unchanged when either is relative or the roots
// differ. bFoldCase compares folder names without ASCII case.
CString relative(const CString& strBasePath, bool bBaseIsFolder, const CString& strPath, bool bFoldCase);

} // namespace PathText
} // namespace Trell
