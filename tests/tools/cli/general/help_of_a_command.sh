v6comp help lookup
