# Dependencies run one way: whoever includes a header of a layer above its own, or of a neighbour,
# makes the parts inseparable. Also fails for a file that no layer claims and for an exception that
# is not needed any more.
set -euo pipefail

cd "$T8_SOURCE_DIR"

# On the 32-bit product these know nothing of a file with a time past January 2038.
if grep -rnE '\<(struct stat|[fl]?stat(at)?(64)?\()|filesystem::(exists|equivalent|file_size|is_|.*status)' \
    --include='*.cpp' --include='*.h' src include tools | grep -vE 'struct stat[a-zA-Z_]'; then
    echo "ask files/FileStatus.h instead"
    exit 1
fi

# Layer, and the layers whose headers it may include besides its own.
layers='
text      -
log       -
files     log
value     text
types     text value
storages  text files value log
saver     storages log
manager   value storages saver files log
product   value storages manager types files log
tool      text files value storages saver manager product types
'

# The same for the directories of the tool among themselves; "program" is what lies in none.
toolLayers='
console     -
store       console
values      console store
check       console store values
dump        console store values check
survey      console store values dump
change      console store values check
commandline console store values check survey
commands    console store values check dump survey change commandline
program     console store commandline commands
'

# Names of files, without directory and extension, to layers.
members='
Log                              log
SettingChangeCallback            value
SettingHolder                    value
SettingFactory                   value
HolderBlocks                     value
StrConv                          value
TypeDescription                  value
SettingStorageInterface          storages
SettingStorageBase               storages
SettingStorageFileBase           storages
SettingStorageInifile            storages
SettingStorageXml                storages
SettingsStorageBase              storages
SettingsByName                   storages
SettingsStorageFileBase          storages
SettingsStorageFileBaseRecovery  storages
SettingsStorageInifile           storages
SettingsStorageInifileText       storages
SettingsStorageXml               storages
CLibXml2SaxParser                storages
Sax1Handler                      storages
XmlDecoding                      storages
SettingsStorageFileAsyncSaver    saver
AsyncSaverState                  saver
NamesInFull                      storages
SaverTiming                      saver
SignalsBlocked                   saver
SettingsManager                  manager
NameHash                         manager
NameIndex                        manager
OperationMode                    manager
DefaultInstanceCount             manager
T8SettingsManager                product
'

# A storage asks its manager for the mode, and knows it; a file storage registers with the saver;
# the manager calls the product for its set-up.
backArrows='
src/SettingsStorageBase.cpp      OperationMode.h
src/SettingsStorageBase.cpp      Qel/Settings/SettingsManager.h
src/SettingsStorageFileBase.cpp  OperationMode.h
src/SettingsStorageFileBase.cpp  Qel/Settings/SettingsStorageFileAsyncSaver.h
src/SettingsManager.cpp          Qel/Settings/T8SettingsManager.h
'

find src include tools -name '*.h' -o -name '*.cpp' | LC_ALL=C sort |
    LAYERS=$layers TOOL_LAYERS=$toolLayers MEMBERS=$members BACK_ARROWS=$backArrows awk '
    function tool_layer(path,    word) {
        return "tool/" (split(path, word, "/") > 1 ? word[1] : "program")
    }
    function layer_of(file,    name) {
        if (sub(/^tools\/t8settings\//, "", file)) return tool_layer(file)
        if (file ~ /(^|\/)text\//) return "text"
        if (file ~ /(^|\/)files\//) return "files"
        if (file ~ /(^|\/)types\// || file ~ /Qel\/Types\//) return "types"
        name = file
        sub(/.*\//, "", name)
        sub(/\.[a-z]+$/, "", name)
        return member[name]
    }
    function exists(path,    line, found) {
        found = (getline line < path) >= 0
        close(path)
        return found
    }
    function complain(text) { print text; failed = 1 }
    function check(file, layer, header,    target) {
        if (header ~ /^qlog\//) {
            if (file != "src/Log.h" && layer !~ /^tool\//)
                complain(file ": takes the log from Log.h, not from " header)
            return
        }
        if (layer ~ /^tool\//) {
            if (exists("tools/t8settings/" header)) {
                target = tool_layer(header)
                if (target != layer && !((layer, target) in may))
                    complain(file ": " layer " may not include " header " of " target)
                ++toolArrows
                return
            }
            layer = "tool"
        }
        if (header ~ /Qel\/Settings\/Export\.h$/) return
        if (file ~ /^include\// && header !~ /^Qel\//)
            complain(file ": a public header includes the private " header)
        target = layer_of(header)
        if (target == "")
            complain(file ": includes " header ", which is in no layer")
        else if (target != layer && !((layer, target) in may)) {
            if ((file, header) in backArrow) needed[file, header] = 1
            else complain(file ": " layer " may not include " header " of " target)
        }
        ++arrows
    }
    BEGIN {
        io = "^(fstream|iostream|cstdio|stdio\\.h|fcntl\\.h|unistd\\.h)$"
        count = split(ENVIRON["LAYERS"], lines, "\n")
        for (i = 1; i <= count; ++i) {
            words = split(lines[i], word, " ")
            for (j = 2; j <= words; ++j) may[word[1], word[j]] = 1
        }
        count = split(ENVIRON["TOOL_LAYERS"], lines, "\n")
        for (i = 1; i <= count; ++i) {
            words = split(lines[i], word, " ")
            if (words) known["tool/" word[1]] = 1
            for (j = 2; j <= words; ++j) may["tool/" word[1], "tool/" word[j]] = 1
        }
        count = split(ENVIRON["MEMBERS"], lines, "\n")
        for (i = 1; i <= count; ++i)
            if (split(lines[i], word, " ")) member[word[1]] = word[2]
        count = split(ENVIRON["BACK_ARROWS"], lines, "\n")
        for (i = 1; i <= count; ++i)
            if (split(lines[i], word, " ")) backArrow[word[1], word[2]] = 1
    }
    /\/Export\.h$/ { next }
    {
        file = $0
        layer = layer_of(file)
        if (layer == "" || (layer ~ /^tool\// && !(layer in known)))
            complain(file ": in no layer")
        while ((getline line < file) > 0) {
            if (line !~ /^[ \t]*#[ \t]*include/) continue
            quoted = line ~ /"/
            split(line, part, /[<">]/)
            if (quoted || part[2] ~ /^(Qel|qlog|text|files|types)\//) check(file, layer, part[2])
            else if (layer == "text" && part[2] ~ io)
                complain(file ": text does no input or output, but includes " part[2])
        }
        close(file)
    }
    END {
        for (arrow in backArrow)
            if (!(arrow in needed)) {
                split(arrow, part, SUBSEP)
                complain(part[1] ": the exception for " part[2] " is not needed")
            }
        if (arrows < 50) complain("only " arrows + 0 " includes seen")
        if (toolArrows < 50) complain("only " toolArrows + 0 " includes seen in the tool")
        exit failed
    }'
