// Made with the manager's own functions.
