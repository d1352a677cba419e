# For scripts that need Debian packages. Sourced; the caller sets -euo pipefail.

packages_script=$(basename "$0")

# Those of the packages that this machine lacks, one a line.
missing_packages() {
    # dpkg-query complains about packages it has never heard of, and answers for the others.
    dpkg-query --show --showformat='${Package} ${db:Status-Status}\n' "$@" 2>/dev/null |
        awk '$2 == "installed" { print $1 }' | sort -u |
        comm -13 - <(printf '%s\n' "$@" | sort -u)
}

# install_missing <package...>: installs what is not there yet. A second call finds nothing to do.
install_missing() {
    local missing as_root=()
    command -v dpkg-query >/dev/null && command -v apt-get >/dev/null || {
        echo "$packages_script: this needs Debian 12 or a relative of it; elsewhere, install by hand: $*" >&2
        return 1
    }
    mapfile -t missing < <(missing_packages "$@")
    if [[ ${#missing[@]} -eq 0 ]]; then
        echo "$packages_script: everything is there ($# packages)"
        return 0
    fi
    if [[ $(id -u) -ne 0 ]]; then
        command -v sudo >/dev/null || {
            echo "$packages_script: needs root (or sudo) to install: ${missing[*]}" >&2
            return 1
        }
        as_root=(sudo)
    fi
    echo "$packages_script: installing ${missing[*]}"
    (
        apt() {
            "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=300 "$@"
        }
        apt update >/dev/null || {
            echo "$packages_script: apt-get update failed" >&2
            exit 1
        }
        # An installed broker must not start a service of its own: its port belongs to the local push service. A
        # policy that somebody else set on this machine stays as it is.
        policy=/usr/sbin/policy-rc.d
        if [[ ! -e $policy ]]; then
            printf '#!/bin/sh\nexit 101\n' | "${as_root[@]}" tee "$policy" >/dev/null
            "${as_root[@]}" chmod 755 "$policy"
            trap '"${as_root[@]}" rm -f "$policy"' EXIT
        fi
        apt install -y --no-install-recommends "${missing[@]}" || {
            echo "$packages_script: apt-get install failed for: ${missing[*]}" >&2
            exit 1
        }
    )
}
