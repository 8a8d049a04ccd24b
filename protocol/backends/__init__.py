"""What is written from the model. A back end has `files(model, read)`: the texts it writes by their paths from the top
of the project; `read` gives the text that stands there today, for those that write only parts of a file."""
