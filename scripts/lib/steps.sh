# For scripts that run several steps: names each, times it, and closes with one summary line.
# Sourced; the caller sets -euo pipefail and stands at the root of the tree.

steps_script=$(basename "$0")
steps_begin=$SECONDS
steps_failed=()
steps_done=0

elapsed() {
    printf '%d:%02d' $(($1 / 60)) $(($1 % 60))
}

# step <name> <command...>: runs the command; a failure is remembered, and told to the caller by the status.
step() {
    local name=$1 begin=$SECONDS status=0
    shift
    printf '\n=== %s: %s  [at %s]\n' "$steps_script" "$name" "$(elapsed $((SECONDS - steps_begin)))"
    "$@" || status=$?
    steps_done=$((steps_done + 1))
    if [[ $status -eq 0 ]]; then
        printf '=== %s: %s: ok, took %s\n' "$steps_script" "$name" "$(elapsed $((SECONDS - begin)))"
    else
        steps_failed+=("$name")
        printf '=== %s: %s: FAILED (status %d), took %s\n' "$steps_script" "$name" "$status" \
            "$(elapsed $((SECONDS - begin)))"
    fi
    return "$status"
}

# The closing line; its status is the script's.
summary() {
    local total
    total=$(elapsed $((SECONDS - steps_begin)))
    if [[ ${#steps_failed[@]} -eq 0 ]]; then
        printf '\n%s: all %d steps passed, in %s\n' "$steps_script" "$steps_done" "$total"
        return 0
    fi
    local list
    list=$(printf ', %s' "${steps_failed[@]}")
    printf '\n%s: %d of %d steps FAILED, in %s: %s\n' "$steps_script" "${#steps_failed[@]}" "$steps_done" \
        "$total" "${list:2}"
    return 1
}
