"""Runs the commands of the documents as they stand there. It stands on the sandbox of the lab."""
