# What the scripts beside this file share. Each of them sources it; none of it stands alone.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
jobs=$(nproc)

# The Debian 12 packages that the project is built and tested with.
packages=(
  g++ cmake ninja-build pkg-config glslc spirv-tools spirv-headers
  libvulkan-volk-dev libvulkan-dev libtinyxml2-dev libfmt-dev libcli11-dev libhwy-dev libtbb-dev
  libpng-dev libjpeg62-turbo-dev libgif-dev libtiff-dev libwebp-dev libjxr-dev
  libgtest-dev libbenchmark-dev
  # To render without a GPU, and to check the use of Vulkan.
  mesa-vulkan-drivers vulkan-validationlayers
  # Other programs that read pictures, to compare with.
  imagemagick netpbm libjpeg-turbo-progs webp libjxr-tools
  # Photographs of the Earth, put together from a satellite's, for the demo and the tests.
  xplanet-images
)
photographs=/usr/share/xplanet/images

fail() {
  echo "$(basename "$0"): $*" >&2
  exit 1
}

step() {
  echo "== $*"
}

# install_packages PACKAGE...
# Installs those that are missing, and asks nothing of the network when none is.
install_packages() {
  if ! command -v dpkg-query apt-get >/dev/null; then
    echo "This is no Debian system, so nothing is installed. Needed are what Debian calls: $*" >&2
    return
  fi
  local package status missing=()
  for package in "$@"; do
    status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) || status=
    [[ $status == installed* ]] || missing+=("$package")
  done
  ((${#missing[@]})) || return 0

  local as_root=()
  if ((EUID != 0)); then
    command -v sudo >/dev/null ||
      fail "these packages are missing, and neither are you root nor is there sudo: ${missing[*]}"
    as_root=(sudo)
  fi
  step "Installing ${missing[*]}"
  local apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -qq
    -o Dpkg::Use-Pty=0 -o DPkg::Lock::Timeout=300)
  "${apt[@]}" update
  "${apt[@]}" install -y --no-install-recommends "${missing[@]}" >/dev/null ||
    fail "the packages cannot be installed"
}

# configure_and_build PRESET FOLDER TARGET [OPTION...]
# Brings a build folder up to date.
configure_and_build() {
  local preset=$1 folder=$2 target=$3
  shift 3
  if command -v ccache >/dev/null; then
    set -- -DCMAKE_CXX_COMPILER_LAUNCHER=ccache "$@"
  fi
  step "Building $folder"
  cmake -S "$root" --preset "$preset" -B "$root/$folder" --log-level=WARNING "$@"
  cmake --build "$root/$folder" --parallel "$jobs" --target "$target"
}
