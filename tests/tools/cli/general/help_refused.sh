v6comp --help > /dev/full
