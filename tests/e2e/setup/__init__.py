"""Sets a Wine prefix up so that it is like a described machine: settings, services, and stand-ins for other
programs."""
