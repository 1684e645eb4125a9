v6comp
