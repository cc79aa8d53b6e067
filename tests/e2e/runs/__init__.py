"""Runs of the program on described machines: the real one under Wine, and rehearsals; and the logs of both."""
