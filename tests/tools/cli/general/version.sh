v6comp --version
