# Bash completion of vncam: commands and options, parsed from its help texts, and file names.
_vncam() {
  local word=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]} words=
  local commands='/^Commands:/,/^$/ s/^  \([a-z]*\) .*/\1/p' options='s/^  \(-., \)\{0,1\}\(--[a-z-]*\).*/\2/p'
  if ((COMP_CWORD == 1)); then
    words="help --help --version $(vncam --help | sed -n "$commands")"
  elif [[ $command == help ]]; then
    words=$(vncam --help | sed -n "$commands")
  elif [[ $word == -* ]]; then
    words=$(vncam "$command" --help 2>/dev/null | sed -n "$options")
  fi
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
}
complete -o default -F _vncam vncam
