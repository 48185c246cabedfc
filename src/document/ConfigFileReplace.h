#pragma once

namespace Trell {

class CString;

// Replacing a file in one step, which CFile does not offer (its renameFile
// refuses an existing target). Private to the configuration writer.
namespace ConfigFileReplace {

// Renames strFrom over strTo, replacing strTo if it exists. Both must lie
// in the same folder for the swap to be atomic. False when either name is
// empty or the rename fails; strTo is then untouched.
bool replaceFile(const CString& strFrom, const CString& strTo);

} // namespace ConfigFileReplace
} // namespace Trell
