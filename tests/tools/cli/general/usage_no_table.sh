v6comp verify
