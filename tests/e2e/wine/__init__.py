"""Wine: throw-away prefixes, and how programs run in them."""
