// filled by its room
