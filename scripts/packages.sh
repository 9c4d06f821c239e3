# Debian packages that the repository's commands need, by purpose. "|" separates
# alternatives, the best one first. Sourced.

packages_for() {
  case $1 in
    build)
      echo g++ cmake ninja-build pkg-config libavahi-compat-libdnssd-dev libavahi-client-dev libdbus-1-dev libxcb1-dev \
        'libcurl4-gnutls-dev|libcurl4-openssl-dev' nlohmann-json3-dev zlib1g-dev qt6-base-dev qt6-base-dev-tools qt6-svg-dev \
        qt6-l10n-tools gettext
      ;;
    studio)
      echo python3 python3-zeroconf iproute2 util-linux dbus-daemon dbus-bin avahi-daemon
      ;;
    desktop)
      echo xvfb openbox xfce4-panel tint2 dunst xdotool at-spi2-core python3-dbus \
        imagemagick x11-utils x11-xserver-utils dbus-x11 libqt6svg6 adwaita-icon-theme hicolor-icon-theme \
        fonts-dejavu-core
      ;;
    test)
      echo libgtest-dev libgmock-dev locales git network-manager python3-pytest python3-dbusmock python3-gi avahi-utils desktop-file-utils \
        appstream libglib2.0-bin man-db groff libnss-mdns libnotify-bin xdg-utils curl xfce4-notifyd sway waybar grim mako-notifier wtype qt6-wayland \
        libwayland-dev wayland-protocols libwayland-bin gcc procps dpkg-dev tmux \
        bash-completion zsh fish prometheus prometheus-node-exporter
      ;;
    desktops)
      echo plasma-workspace plasma-desktop kwin-x11 kde-style-breeze breeze-icon-theme libqt5svg5 lxqt-panel mate-panel \
        trayer i3-wm
      ;;
    package)
      echo build-essential dpkg-dev debhelper lintian binutils git libcurl4-gnutls-dev libgtest-dev libgmock-dev locales
      ;;
    fresh)
      echo debootstrap
      ;;
    check)
      echo clang 'clang-format-14|clang-format' clang-tidy libclang-rt-dev ccache libbenchmark-dev
      ;;
  esac
}

. "$(dirname "${BASH_SOURCE[0]}")/install.sh"
