"""Real responders and simulators in network namespaces, and the program in their midst."""
