#!/usr/bin/env bash
# Builds the installer: make-msi.sh WXS BUILD-DIR VERSION OUTPUT
# wixl (msitools) writes the package from the WiX source; the SelfReg and Environment tables and
# their actions, which this wixl does not know, are added to it with msibuild; so is the maker's
# folder (LumenoWorks) as a folder the Tool component creates, which RemoveFolders takes away
# again once it is empty (this wixl ignores the Directory of CreateFolder and RemoveFolder).
set -euo pipefail
wxs=$(cd "$(dirname "$1")" && pwd)/$(basename "$1") build=$2 version=$3 out=$4
cd "$build"
# (This wixl warns of attributes it does not know, Platform and Directory among them.)
wixl -a x64 -D Version="$version" -D BuildDir=. -o "$out.new" "$wxs" 2>/dev/null
msibuild "$out.new" \
  -q "CREATE TABLE \`SelfReg\` (\`File_\` CHAR(72) NOT NULL, \`Cost\` SHORT PRIMARY KEY \`File_\`)" \
  -q "INSERT INTO \`SelfReg\` (\`File_\`, \`Cost\`) VALUES ('LumenoDll', 1)" \
  -q "CREATE TABLE \`Environment\` (\`Environment\` CHAR(72) NOT NULL, \`Name\` CHAR(255) NOT NULL LOCALIZABLE, \`Value\` CHAR(255) LOCALIZABLE, \`Component_\` CHAR(72) NOT NULL PRIMARY KEY \`Environment\`)" \
  -q "INSERT INTO \`Environment\` (\`Environment\`, \`Name\`, \`Value\`, \`Component_\`) VALUES ('ToolOnPath', '=-PATH', '[~];[INSTALLDIR]', 'Tool')" \
  -q "INSERT INTO \`InstallExecuteSequence\` (\`Action\`, \`Sequence\`) VALUES ('SelfUnregModules', 2200)" \
  -q "INSERT INTO \`InstallExecuteSequence\` (\`Action\`, \`Sequence\`) VALUES ('RemoveEnvironmentStrings', 3300)" \
  -q "INSERT INTO \`InstallExecuteSequence\` (\`Action\`, \`Sequence\`) VALUES ('WriteEnvironmentStrings', 5200)" \
  -q "INSERT INTO \`InstallExecuteSequence\` (\`Action\`, \`Sequence\`) VALUES ('SelfRegModules', 6500)" \
  -q "INSERT INTO \`CreateFolder\` (\`Directory_\`, \`Component_\`) VALUES ('LumenoWorks', 'Tool')" \
  -q "INSERT INTO \`InstallExecuteSequence\` (\`Action\`, \`Sequence\`) VALUES ('RemoveFolders', 3600)" \
  -q "INSERT INTO \`InstallExecuteSequence\` (\`Action\`, \`Sequence\`) VALUES ('CreateFolders', 3700)"
mv "$out.new" "$out"
