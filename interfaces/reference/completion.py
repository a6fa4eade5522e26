"""The script by which bash completes the command: commands, options, their values and names of files."""

PATTERN = """# Made from the definition of the command; not to be edited.

_nuv_files() {
  compopt -o filenames 2>/dev/null
  mapfile -t COMPREPLY < <(compgen -f -- "$1")
}

_nuv_words() {
  mapfile -t COMPREPLY < <(compgen -W "$2" -- "$1")
}

# What follows an option: words, files, or nothing that could be guessed. Fails where the option takes nothing.
_nuv_value() {
  case "$1" in
@VALUES@
    *) return 1 ;;
  esac
}

_nuv() {
  local word=${COMP_WORDS[COMP_CWORD]} last=${COMP_WORDS[COMP_CWORD - 1]} command='' i place=0
  COMPREPLY=()
  # --option=value comes as three words.
  if [[ $word == = ]]; then
    word=''
  elif [[ $last == = ]]; then
    last=${COMP_WORDS[COMP_CWORD - 2]}
  fi

  # The command, and how many arguments stand behind it before the word at hand.
  for ((i = 1; i < COMP_CWORD; ++i)); do
    case ${COMP_WORDS[i]} in
      -?*)
        if [[ ${COMP_WORDS[i + 1]} == = ]]; then
          ((i += 2))
        elif _nuv_value "$command ${COMP_WORDS[i]}" ''; then
          ((++i))
        fi
        ;;
      *)
        if [[ -z $command ]]; then command=${COMP_WORDS[i]}; else ((++place)); fi
        ;;
    esac
  done

  COMPREPLY=()
  if [[ $last == -* ]] && _nuv_value "$command $last" "$word"; then return; fi
  if [[ $word == -* ]]; then
    case "$command" in
@OPTIONS@
    esac
    return
  fi
  if [[ -z $command ]]; then
    _nuv_words "$word" '@COMMANDS@'
    return
  fi
  case "$command $place" in
@ARGUMENTS@
  esac
}

complete -F _nuv @NAME@
"""


def answer(option, word):
    """What completes the value of an option or an argument."""
    if option["choices"]:
        return f"_nuv_words \"{word}\" '{' '.join(option['choices'])}'"
    return f'_nuv_files "{word}"' if option["is_file"] else ":"


def bash_completion(program):
    values, options, arguments = [], [], []
    for command in [program] + program["commands"]:
        name = "" if command is program else command["name"]
        for option in command["options"]:
            if option["value"]:
                heads = "|".join(f"'{name} {n}'" for n in option["names"])
                values.append(f"    {heads}) {answer(option, '$2')} ;;")
        words = " ".join(n for option in command["options"] for n in option["names"])
        options.append(f"      '{name}') _nuv_words \"$word\" '{words}' ;;")
        for place, argument in enumerate(command["arguments"]):
            arguments.append(f"    '{name} {place}') {answer(argument, '$word')} ;;")
    parts = {
        "VALUES": "\n".join(values),
        "OPTIONS": "\n".join(options),
        "COMMANDS": " ".join(c["name"] for c in program["commands"]),
        "ARGUMENTS": "\n".join(arguments),
        "NAME": program["name"],
    }
    text = PATTERN
    for key, value in parts.items():
        text = text.replace(f"@{key}@", value)
    return text
