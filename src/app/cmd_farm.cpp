int CmdFarm(int, char **, int) { return 1; }
