# Types WORDS and a tabulator into an interactive zsh that completes by the functions in DIR, and prints in one line
# what its terminal then shows; "|" stands where the cursor is. Usage: zsh -f zsh_complete.zsh DIR WORDS...
zmodload zsh/zpty
zpty shell zsh -f -i
until_seen() { # PATTERN: reads the terminal, into $seen, up to it
    zpty -r -m shell seen "*$1*" || exit 1
}
zpty -w shell "PROMPT=; stty cols 200 -echo; fpath=(${1:a} \$fpath); autoload -Uz compinit; compinit -u -D; bindkey '^I' complete-word; print RE''ADY"
until_seen READY
shift
for words; do
    zpty -w -n shell "$words"$'\t|'
    until_seen '\|'
    print -r -- "$seen" | sed 's/\x1b\[[0-9;?]*[a-zA-Z]//g' | tr -d '\r\a\b' | tr '\n' ' '
    print
    zpty -w -n shell $'\C-u'
done
zpty -d shell
