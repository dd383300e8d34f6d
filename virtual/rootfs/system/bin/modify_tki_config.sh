#!/bin/sh
# Changes one setting of an INI file: modify_tki_config.sh SECTION PARAMETER VALUE FILE
# Keeps comments, order and CR LF line ends; a missing parameter is added under its section's header, a missing section at
# the end. The file is replaced in one step, so a power cut leaves the old or the new one. Exit status 0, or 1 and no change.
# Shell built-ins only: the factory image has no awk, and the file's texts are not in the shell's character set.
LC_ALL=C
export LC_ALL

refuse() {
    echo "modify_tki_config.sh: $1" >&2
    exit 1
}

[ $# -eq 4 ] || refuse "usage: modify_tki_config.sh SECTION PARAMETER VALUE FILE"
section=$1 parameter=$2 value=$3 file=$4
case $section in '' | *[!A-Za-z0-9_]*) refuse "odd section name" ;; esac
case $parameter in '' | *[!A-Za-z0-9_]*) refuse "odd parameter name" ;; esac
case $value in '' | *[!A-Za-z0-9_.,:\;/+-]*) refuse "odd value" ;; esac
[ ${#value} -le 255 ] || refuse "value too long"
[ -f "$file" ] || refuse "no such file: $file"

cr=$(printf '\r')
fresh=$file.new.$$
trap 'rm -f "$fresh"' EXIT

end_of_line=$cr # of the file, as far as seen; a fresh line gets the same
inside=0        # in the wanted section
done=0          # the setting has been written

setting() { printf '%s=%s%s\n' "$parameter" "$value" "$end_of_line"; }

rewrite() {
    while IFS= read -r line || [ -n "$line" ]; do
        case $line in *"$cr") end_of_line=$cr ;; *) end_of_line= ;; esac
        text=${line%"$cr"}
        case $text in
        '['*)
            name=${text#'['}
            if [ "${name%%']'*}" = "$section" ]; then inside=1; else inside=0; fi
            printf '%s\n' "$line"
            if [ $inside -eq 1 ] && [ $done -eq 0 ] && [ $present -eq 0 ]; then
                setting
                done=1
            fi
            continue
            ;;
        '#'*) ;;
        *=*)
            key=${text%%=*}
            key=${key%"${key##*[! 	]}"} # blanks and tabs around the key
            key=${key#"${key%%[! 	]*}"}
            if [ $inside -eq 1 ] && [ $done -eq 0 ] && [ "$key" = "$parameter" ]; then
                setting
                done=1
                continue
            fi
            ;;
        esac
        printf '%s\n' "$line"
    done
    if [ $done -eq 0 ]; then
        printf '%s\n[%s]%s\n' "$end_of_line" "$section" "$end_of_line"
        setting
    fi
}

# Whether the section holds the parameter already decides between replacing and adding.
present=0
current=
while IFS= read -r line || [ -n "$line" ]; do
    text=${line%"$cr"}
    case $text in
    '['*) current=${text#'['} current=${current%%']'*} ;;
    '#'*) ;;
    *=*)
        key=${text%%=*}
        key=${key%"${key##*[! 	]}"}
        key=${key#"${key%%[! 	]*}"}
        [ "$current" = "$section" ] && [ "$key" = "$parameter" ] && present=1
        ;;
    esac
done <"$file"

rewrite <"$file" >"$fresh" || refuse "cannot write $fresh"
chmod 644 "$fresh" || refuse "cannot write $fresh"
sync "$fresh" 2>/dev/null || sync # toybox knows only the latter
mv -f "$fresh" "$file" || refuse "cannot replace $file"
trap - EXIT
exit 0
