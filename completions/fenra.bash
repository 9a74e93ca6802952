# Completion of the fenra program for bash.
_fenra() {
  local cur=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} command=${COMP_WORDS[1]-}
  local choices=
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    choices="--help --version index delete search lookup show stats tune verify rebuild compact backup lemma fst"
    mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$cur")
    return
  fi
  [[ $command == fst ]] && command="fst ${COMP_WORDS[2]-}"
  case $previous in
    --format) mapfile -t COMPREPLY < <(compgen -W "warc jsonl" -- "$cur"); return ;;
    --rules) mapfile -t COMPREPLY < <(compgen -W "web plain" -- "$cur"); return ;;
    --sort) mapfile -t COMPREPLY < <(compgen -W "date" -- "$cur"); return ;;
    --mime) mapfile -t COMPREPLY < <(compgen -W "text/html text/plain" -- "$cur"); return ;;
  esac
  if ((COMP_CWORD == 2)) && [[ $command == fst\ * ]]; then
    choices="--help compile dump look"
    mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$cur")
    return
  fi
  case $command in
    index) choices="--help --format --list --mime --base-url --source --date --bulk --skip-unchanged --prune --rules --json --quiet" ;;
    delete) choices="--help --list --quiet" ;;
    search) choices="--help --limit --after --count --newest --sort --snippets --explain --json" ;;
    lookup) choices="--help --json --form --lemma --source --date --trigram --trigram-prefix" ;;
    show) choices="--help --json" ;;
    stats) choices="--help --json" ;;
    tune) choices="--help --cache" ;;
    verify) choices="--help --deep" ;;
    rebuild) choices="--help --rules --quiet" ;;
    compact) choices="--help --quiet" ;;
    backup) choices="--help --quiet" ;;
    lemma) choices="--help --rules --json" ;;
    "fst compile") choices="--help" ;;
    "fst dump") choices="--help" ;;
    "fst look") choices="--help --down" ;;
  esac
  if [[ $cur == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$choices" -- "$cur")
  fi
}
complete -o default -F _fenra fenra
