# What the shell of hostsim-bus.sh starts with.
PS1='hostsim-bus> '

# The shell has a `set` of its own, for options.
set() {
    case ${1-} in
    '' | -* | +*) builtin set "$@" ;;
    *) hostsim set "$@" ;;
    esac
}

cat <<END
The simulated host is on /dev/i2c-1 (address 0x42) and /dev/spidev0.0, its interrupt line is GPIO 17.
$ZENT_HOSTSIM_BUTTON

$(hostsim help)

Talk to it:
  $ZENT_HOSTSIM_BUILD/bin/hostlink-demo --link i2c --device /dev/i2c-1 --gpio 17
  $ZENT_HOSTSIM_BUILD/bin/hostlink-demo --link spi --device /dev/spidev0.0 --gpio 17
'exit' takes all of it away.
END
