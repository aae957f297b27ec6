# shellcheck shell=sh
# `. examples/here.sh`: what programs share lies in ./shared from now on, not in /run/mpls, which needs
# rights that not everybody has. Once in each terminal.
mkdir -p shared/trace
export MPLS_RUN="$PWD/shared" MPLS_CENTRUM="$PWD/shared/centrum.sock"
