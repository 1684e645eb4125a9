v6comp generate --nested 2
