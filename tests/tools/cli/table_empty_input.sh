v6comp compress -
