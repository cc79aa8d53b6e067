"""The sample package: its tables and its authoring, and the real installer and its rehearsal on a machine."""
